#include "collection/capture/JsonLines.h"

#include <fmt/format.h>

#include "collection/text/TextExtraction.h"
#include "collection/text/WebAddress.h"
#include "foundation/Json.h"
#include "foundation/Text.h"
#include "retrieval/text/ContentPieces.h"

namespace nookery {
namespace {

constexpr std::size_t chunkByteCount = 1 << 18;

bool holdsExtractedText(CrumbKind kind) {
    return kind != CrumbKind::text && kind != CrumbKind::url;
}

CrumbKind kindOf(const Json& object, const std::optional<std::string>& url) {
    const auto raw = optionalString(object, "kind");
    if (!raw) return url ? CrumbKind::url : CrumbKind::text;
    const auto kind = kindFromRawValue(*raw);
    if (!kind) throw JsonError(fmt::format("\"kind\" is none of the kinds: {}", *raw));
    return *kind;
}

/// What is not of the web would reach the desktop's opener, which runs what it is told to.
std::optional<std::string> urlOf(const Json& object) {
    const auto text = optionalString(object, "url");
    if (!text) return std::nullopt;
    const auto address = parseWebAddress(*text);
    if (!address) {
        throw JsonError(
            fmt::format("\"url\" is not a web address (http:// or https://): {}", *text));
    }
    return address->url;
}

Timestamp createdOf(const Json& object, Timestamp now) {
    const auto text = optionalString(object, "created");
    if (!text) return now;
    const auto date = parseIso8601(*text);
    if (!date) throw JsonError(fmt::format("\"created\" is not an ISO 8601 date: {}", *text));
    return *date;
}

std::vector<std::string> tagsOf(const Json& object) {
    std::vector<std::string> tags;
    const auto found = object.find("tags");
    if (found == object.end() || found->is_null()) return tags;
    if (!found->is_array()) throw JsonError("\"tags\" is not a list of texts");
    for (const Json& tag : *found) {
        if (!tag.is_string()) throw JsonError("\"tags\" is not a list of texts");
        tags.push_back(tag.get<std::string>());
    }
    return tags;
}

std::string titleOf(const CrumbItem& item) {
    const std::string& text = item.text ? *item.text : item.searchableText;
    const auto address = item.urlString ? parseWebAddress(*item.urlString) : std::nullopt;
    if (address && trimmed(text).empty()) return address->readable;
    return titleFromText(text);
}

}  // namespace

ImportedMemory memoryFromJsonLine(std::string_view line, Timestamp now) {
    const Json object = parseJson(line);
    if (!object.is_object()) throw JsonError("The line is not a JSON object.");
    ImportedMemory memory;
    CrumbItem& item = memory.item;
    item.id = Uuid::random();
    item.urlString = urlOf(object);
    item.kind = kindOf(object, item.urlString);
    item.createdAt = createdOf(object, now);
    item.note = optionalString(object, "note").value_or("");
    auto text = optionalString(object, "text");
    if (text && holdsExtractedText(item.kind)) {
        item.searchableText = std::move(*text);
    } else {
        item.text = std::move(text);
    }
    item.title = optionalString(object, "title").value_or("");
    if (trimmed(item.title).empty()) item.title = titleOf(item);
    memory.tags = tagsOf(object);
    return memory;
}

std::string jsonLineOf(const CrumbItem& item, const std::vector<std::string>& tags) {
    OrderedJson object{{"title", item.title},
                       {"kind", rawValue(item.kind)},
                       {"created", toIso8601(item.createdAt)}};
    if (item.urlString) object["url"] = *item.urlString;
    const std::string text = item.text.value_or(joinedPieces(item.searchableText));
    if (item.text || !text.empty()) object["text"] = text;
    if (!item.note.empty()) object["note"] = item.note;
    if (!tags.empty()) object["tags"] = tags;
    return toJsonText(object);
}

JsonLinesReader::JsonLinesReader(std::unique_ptr<ReadableFile> file, const Clock& clock,
                                 std::size_t lineLimit)
    : file_(std::move(file)), clock_(clock), lineLimit_(lineLimit), buffer_(chunkByteCount) {}

std::optional<std::variant<ImportedMemory, ImportFailure>> JsonLinesReader::next() {
    while (readLine()) {
        if (isTooLong_) {
            return ImportFailure{lineNumber_,
                                 fmt::format("The line is longer than {} bytes.", lineLimit_)};
        }
        if (trimmed(toValidUtf8(line_)).empty()) continue;
        try {
            return memoryFromJsonLine(line_, clock_.now());
        } catch (const JsonError& error) {
            return ImportFailure{lineNumber_, error.description()};
        }
    }
    return std::nullopt;
}

/// False at the end. What goes beyond the limit is passed over.
bool JsonLinesReader::readLine() {
    line_.clear();
    isTooLong_ = false;
    bool hasBegun = false;
    while (fill()) {
        hasBegun = true;
        const std::size_t end = unread_.find('\n');
        const std::string_view piece = unread_.substr(0, end);
        isTooLong_ = isTooLong_ || line_.size() + piece.size() > lineLimit_;
        if (!isTooLong_) line_ += piece;
        unread_.remove_prefix(end == std::string_view::npos ? piece.size() : end + 1);
        if (end != std::string_view::npos) break;
    }
    if (hasBegun) ++lineNumber_;
    return hasBegun;
}

bool JsonLinesReader::fill() {
    if (!unread_.empty()) return true;
    const std::size_t count = file_->read(buffer_);
    unread_ = {reinterpret_cast<const char*>(buffer_.data()), count};
    return count > 0;
}

}  // namespace nookery
