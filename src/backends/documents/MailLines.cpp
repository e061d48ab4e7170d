#include "backends/documents/MailLines.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <array>
#include <memory>

#include "foundation/Text.h"
#include "foundation/TextDecoding.h"

namespace nookery {
namespace {

constexpr std::size_t pieceByteCount = 65536;
constexpr std::size_t maximumFieldByteCount = 32768;

constexpr std::array<std::string_view, 8> wantedFields = {"subject",
                                                          "from",
                                                          "to",
                                                          "cc",
                                                          "date",
                                                          "content-type",
                                                          "content-disposition",
                                                          "content-transfer-encoding"};

}  // namespace

bool MailLines::refill() {
    reading_.checkStop();
    buffer_.erase(0, position_);
    position_ = 0;
    const std::string piece = file_.readAt(offset_, pieceByteCount);
    offset_ += piece.size();
    buffer_ += piece;
    return !piece.empty();
}

bool MailLines::next() {
    std::size_t end = buffer_.find('\n', position_);
    if (end == std::string::npos && buffer_.size() - position_ < pieceByteCount) {
        refill();
        end = buffer_.find('\n', position_);
    }
    end = end == std::string::npos ? buffer_.size() : end + 1;
    line_ = std::string_view(buffer_).substr(position_, end - position_);
    position_ = end;
    return !line_.empty();
}

std::string_view MailLines::lineWithoutEnd() const {
    std::string_view line = line_;
    if (line.ends_with('\n')) line.remove_suffix(1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

void MailHeader::addLine(std::string_view line) {
    const bool isFolded = line.starts_with(' ') || line.starts_with('\t');
    if (!isFolded) {
        const std::size_t colon = line.find(':');
        const std::string name =
            lowerCased(toValidUtf8(line.substr(0, std::min<std::size_t>(colon, 100))));
        const bool isWanted =
            colon != std::string_view::npos && !fields_.contains(name) &&
            std::find(wantedFields.begin(), wantedFields.end(), name) != wantedFields.end();
        current_ = isWanted ? &fields_[name] : nullptr;
        line.remove_prefix(isWanted ? colon + 1 : 0);
    }
    if (current_ == nullptr) return;
    const std::size_t room = maximumFieldByteCount - current_->size();
    *current_ += line.substr(0, room);
}

std::string_view MailHeader::raw(std::string_view name) const {
    const auto found = fields_.find(name);
    return found == fields_.end() ? std::string_view() : trimmed(found->second);
}

std::string MailHeader::text(std::string_view name) const {
    const std::string value = decodeText(raw(name));
    const std::unique_ptr<char, decltype(&g_free)> decoded(
        g_mime_utils_header_decode_text(nullptr, value.c_str()), g_free);
    return toValidUtf8(decoded ? std::string_view(decoded.get()) : std::string_view());
}

}  // namespace nookery
