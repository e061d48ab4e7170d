#include <gmime/gmime.h>

#include <memory>
#include <mutex>
#include <optional>

#include "backends/documents/DocumentFormatReaders.h"
#include "backends/documents/HtmlDocumentText.h"
#include "backends/documents/MailLines.h"
#include "foundation/Text.h"
#include "foundation/TextDecoding.h"

namespace nookery {
namespace {

/// The depth of nesting, of messages and parts together.
constexpr std::size_t maximumDepth = 20;

struct Unreference {
    void operator()(void* object) const { g_object_unref(object); }
};

std::string_view view(const char* text) { return text == nullptr ? "" : text; }

/// What a header says about its part.
struct PartType {
    std::string type = "text";
    std::string subtype = "plain";
    std::string boundary;
    std::string encoding;
    std::string fileName;
    bool isAttachment = false;
    GMimeContentEncoding transfer = GMIME_CONTENT_ENCODING_DEFAULT;

    static PartType read(const MailHeader& header);
    bool is(std::string_view wanted) const { return type + "/" + subtype == wanted; }
};

PartType PartType::read(const MailHeader& header) {
    PartType part;
    if (const std::string field(header.raw("content-type")); !field.empty()) {
        const std::unique_ptr<GMimeContentType, Unreference> parsed(
            g_mime_content_type_parse(nullptr, field.c_str()));
        part.type = lowerCased(view(g_mime_content_type_get_media_type(parsed.get())));
        part.subtype = lowerCased(view(g_mime_content_type_get_media_subtype(parsed.get())));
        part.boundary = view(g_mime_content_type_get_parameter(parsed.get(), "boundary"));
        part.encoding = view(g_mime_content_type_get_parameter(parsed.get(), "charset"));
        part.fileName = view(g_mime_content_type_get_parameter(parsed.get(), "name"));
    }
    if (const std::string field(header.raw("content-disposition")); !field.empty()) {
        const std::unique_ptr<GMimeContentDisposition, Unreference> parsed(
            g_mime_content_disposition_parse(nullptr, field.c_str()));
        part.isAttachment = g_mime_content_disposition_is_attachment(parsed.get()) != FALSE;
        const auto name = view(g_mime_content_disposition_get_parameter(parsed.get(), "filename"));
        if (!name.empty()) part.fileName = name;
    }
    const std::string transfer(header.raw("content-transfer-encoding"));
    part.transfer = g_mime_content_encoding_from_string(transfer.c_str());
    return part;
}

/// Many programs say US-ASCII, or nothing, of text in another encoding.
std::string decoded(const std::string& bytes, const std::string& encoding) {
    const std::string name = lowerCased(encoding);
    if (name.empty() || name == "us-ascii") return decodeText(bytes);
    const auto text = decodeTextAs(bytes, name);
    return text ? *text : decodeText(bytes);
}

/// The readable text of a part.
struct PartText {
    std::string text;
    bool isPlain = false;  ///< written as plain text rather than as a page
};

/// Reads a message from its first line to its last, going down into its parts.
class MessageWalk {
  public:
    MessageWalk(const OpenedFile& file, const DocumentReading& reading)
        : lines_(file, reading), maximumByteCount_(reading.limits().maximumTextByteCount) {}

    /// The subject of the message and all its text.
    DocumentText message() {
        const MailHeader header = readHeader();
        GatheredText text(maximumByteCount_);
        text.addLines(header.text("subject"));
        for (const char* name : {"From", "To", "Cc"}) {
            const std::string value = header.text(lowerCased(name));
            if (!value.empty()) text.addLines(std::string(name) + ": " + value);
        }
        if (const auto date = shownDate(header)) text.addLines("Date: " + *date);
        text.endLine();
        text.addLines(body(header).text);
        return {std::string(cutToBytes(header.text("subject"), maximumTitleByteCount)),
                text.take()};
    }

  private:
    static std::optional<std::string> shownDate(const MailHeader& header) {
        const std::string field(header.raw("date"));
        const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> date(
            g_mime_utils_header_decode_date(field.c_str()), g_date_time_unref);
        if (!date) return std::nullopt;
        const std::unique_ptr<char, decltype(&g_free)> shown(
            g_date_time_format(date.get(), "%Y-%m-%d %H:%M"), g_free);
        return std::string(view(shown.get()));
    }

    MailHeader readHeader() {
        closedLevel_.reset();
        return MailHeader::read(lines_, [this](std::string_view line) { return endsPart(line); });
    }

    /// Whether the line ends the part being read: a boundary of any of the parts around it.
    /// Remembers whose it is, and whether more follows there.
    bool endsPart(std::string_view line) {
        if (!line.starts_with("--")) return false;
        line = line.substr(2, line.find_last_not_of(" \t") - 1);
        for (std::size_t level = boundaries_.size(); level > 0; --level) {
            const std::string& boundary = boundaries_[level - 1];
            if (!line.starts_with(boundary)) continue;
            const std::string_view rest = line.substr(boundary.size());
            if (!rest.empty() && rest != "--") continue;
            closedLevel_ = level;
            moreFollows_ = rest.empty();
            return true;
        }
        return false;
    }

    /// Reads the body behind the header, up to the boundary that ends it or the end of the file.
    PartText body(const MailHeader& header) {
        const PartType part = PartType::read(header);
        if (closedLevel_) return {};
        const bool goesDown = depth_ < maximumDepth;
        if (goesDown && part.type == "multipart" && !part.boundary.empty()) return parts(part);
        if (goesDown && part.is("message/rfc822")) {
            ++depth_;
            PartText inner{message().text, true};
            --depth_;
            return inner;
        }
        return leaf(part);
    }

    PartText parts(const PartType& part) {
        boundaries_.push_back(part.boundary);
        ++depth_;
        const std::size_t level = boundaries_.size();
        skipToBoundary();
        PartText chosen;
        GatheredText all(maximumByteCount_);
        while (closedLevel_ == level && moreFollows_) {
            PartText one = body(readHeader());
            all.addLines(one.text);
            if (part.subtype == "alternative") choose(chosen, std::move(one));
        }
        boundaries_.pop_back();
        --depth_;
        // Text behind the last part is meant for programs that know no parts.
        if (closedLevel_ == level) skipToBoundary();
        return part.subtype == "alternative" ? chosen : PartText{all.take(), true};
    }

    /// Of several forms of one text: plain text reads as it was written; else the last is the best.
    static void choose(PartText& chosen, PartText candidate) {
        const bool isEmpty = trimmed(candidate.text).empty();
        const bool isWorse = chosen.isPlain && !trimmed(chosen.text).empty();
        if (!isEmpty && !isWorse) chosen = std::move(candidate);
    }

    void skipToBoundary() {
        closedLevel_.reset();
        while (lines_.next() && !endsPart(lines_.lineWithoutEnd())) {
        }
    }

    PartText leaf(const PartType& part) {
        const bool isShown = part.type == "text" && !part.isAttachment;
        const std::string bytes = content(part.transfer, isShown ? maximumByteCount_ : 0);
        std::string text;
        if (isShown) {
            text = decoded(bytes, part.encoding);
            if (part.subtype == "html") text = htmlDocumentText(text, maximumByteCount_);
        }
        if (!part.fileName.empty()) text += (text.empty() ? "" : "\n") + toValidUtf8(part.fileName);
        return {std::move(text), part.subtype != "html"};
    }

    /// The part's bytes, decoded from its transfer encoding.
    std::string content(GMimeContentEncoding transfer, std::size_t maximumByteCount) {
        closedLevel_.reset();
        GMimeEncoding decoder;
        g_mime_encoding_init_decode(&decoder, transfer);
        std::string bytes;
        while (lines_.next() && !endsPart(lines_.lineWithoutEnd())) {
            if (bytes.size() >= maximumByteCount) continue;
            const std::string_view line = lines_.line();
            std::string piece(g_mime_encoding_outlen(&decoder, line.size()), '\0');
            piece.resize(g_mime_encoding_step(&decoder, line.data(), line.size(), piece.data()));
            bytes += piece;
        }
        return bytes;
    }

    MailLines lines_;
    std::size_t maximumByteCount_;
    std::size_t depth_ = 0;
    std::vector<std::string> boundaries_;
    std::optional<std::size_t> closedLevel_;  ///< counted from 1; set by the boundary just read
    bool moreFollows_ = false;
};

}  // namespace

DocumentText readMail(DocumentReading& reading) {
    static std::once_flag once;
    std::call_once(once, g_mime_init);
    const OpenedFile file = OpenedFile::open(reading);
    return MessageWalk(file, reading).message();
}

}  // namespace nookery
