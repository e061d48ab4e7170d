#include <gmime/gmime.h>

#include <memory>
#include <mutex>

#include "backends/documents/DocumentFormatReaders.h"
#include "backends/documents/HtmlDocumentText.h"
#include "backends/documents/OpenedFile.h"
#include "collection/TextDecoding.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

/// Messages in messages and parts in parts, together.
constexpr int maximumDepth = 20;

struct Unreference {
    void operator()(void* object) const { g_object_unref(object); }
};
template <typename Object>
using Owned = std::unique_ptr<Object, Unreference>;

struct GFree {
    void operator()(char* text) const { g_free(text); }
};
using OwnedText = std::unique_ptr<char, GFree>;

std::string_view view(const char* text) { return text == nullptr ? "" : text; }

/// Walks the parts of one message and writes down what a person would read of them.
class MessageWalk {
  public:
    MessageWalk(DocumentReading& reading, GatheredText& text) : reading_(reading), text_(text) {}

    void addMessage(GMimeMessage* message) {
        addLine(view(g_mime_message_get_subject(message)));
        addAddresses("From: ", g_mime_message_get_from(message));
        addAddresses("To: ", g_mime_message_get_to(message));
        addAddresses("Cc: ", g_mime_message_get_cc(message));
        addDate(message);
        text_.endLine();
        if (GMimeObject* body = g_mime_message_get_mime_part(message)) addPart(body);
    }

  private:
    void addLine(std::string_view line) {
        text_.add(toValidUtf8(line));
        text_.endLine();
    }

    void addAddresses(std::string_view label, InternetAddressList* addresses) {
        if (addresses == nullptr || internet_address_list_length(addresses) == 0) return;
        const OwnedText names(internet_address_list_to_string(addresses, nullptr, FALSE));
        addLine(std::string(label) + std::string(view(names.get())));
    }

    void addDate(GMimeMessage* message) {
        GDateTime* date = g_mime_message_get_date(message);
        if (date == nullptr) return;
        const OwnedText shown(g_date_time_format(date, "%Y-%m-%d %H:%M"));
        addLine("Date: " + std::string(view(shown.get())));
    }

    void addPart(GMimeObject* part) {
        reading_.checkStop();
        if (text_.isFull() || depth_ >= maximumDepth) return;
        ++depth_;
        if (GMIME_IS_MULTIPART(part)) {
            addParts(GMIME_MULTIPART(part));
        } else if (GMIME_IS_MESSAGE_PART(part)) {
            GMimeMessage* message = g_mime_message_part_get_message(GMIME_MESSAGE_PART(part));
            if (message != nullptr) addMessage(message);
        } else if (GMIME_IS_PART(part)) {
            addLeaf(GMIME_PART(part));
        }
        --depth_;
    }

    void addParts(GMimeMultipart* parts) {
        const bool areAlternatives =
            g_mime_content_type_is_type(g_mime_object_get_content_type(GMIME_OBJECT(parts)),
                                        "multipart", "alternative") != FALSE;
        if (areAlternatives) return addBestAlternative(parts);
        const int count = g_mime_multipart_get_count(parts);
        for (int i = 0; i < count; ++i) addPart(g_mime_multipart_get_part(parts, i));
    }

    /// Plain text reads as it was written; a page is the next best.
    void addBestAlternative(GMimeMultipart* parts) {
        const int count = g_mime_multipart_get_count(parts);
        for (int i = 0; i < count; ++i) {
            GMimeObject* part = g_mime_multipart_get_part(parts, i);
            if (!isType(part, "text", "plain")) continue;
            const std::string text = shownText(GMIME_PART(part));
            if (!trimmed(text).empty()) return addLine(text);
        }
        for (int i = count - 1; i >= 0; --i) {
            GMimeObject* part = g_mime_multipart_get_part(parts, i);
            if (isType(part, "text", "html") || GMIME_IS_MULTIPART(part)) return addPart(part);
        }
    }

    void addLeaf(GMimePart* part) {
        const std::string_view fileName = view(g_mime_part_get_filename(part));
        const bool isText = isType(GMIME_OBJECT(part), "text", "*");
        if (isText && !g_mime_part_is_attachment(part)) addLine(shownText(part));
        if (!fileName.empty()) addLine(fileName);
    }

    static bool isType(GMimeObject* part, const char* type, const char* subtype) {
        return GMIME_IS_PART(part) &&
               g_mime_content_type_is_type(g_mime_object_get_content_type(part), type, subtype);
    }

    std::string shownText(GMimePart* part) const {
        const std::string bytes = content(part);
        const char* encoding =
            g_mime_object_get_content_type_parameter(GMIME_OBJECT(part), "charset");
        const auto named = encoding == nullptr ? std::nullopt : decodeTextAs(bytes, encoding);
        const std::string text = named ? *named : decodeText(bytes);
        if (!isType(GMIME_OBJECT(part), "text", "html")) return text;
        return htmlDocumentText(text, reading_.limits().maximumTextByteCount);
    }

    /// The part's bytes as they were before they were made fit for mail, as many as can be used.
    std::string content(GMimePart* part) const {
        GMimeDataWrapper* wrapper = g_mime_part_get_content(part);
        if (wrapper == nullptr) return {};
        const Owned<GMimeStream> filtered(
            g_mime_stream_filter_new(g_mime_data_wrapper_get_stream(wrapper)));
        const Owned<GMimeFilter> decoder(
            g_mime_filter_basic_new(g_mime_data_wrapper_get_encoding(wrapper), FALSE));
        g_mime_stream_filter_add(GMIME_STREAM_FILTER(filtered.get()), decoder.get());
        g_mime_stream_reset(filtered.get());
        std::string bytes;
        char buffer[16384];
        while (bytes.size() < reading_.limits().maximumTextByteCount) {
            reading_.checkStop();
            const ssize_t count = g_mime_stream_read(filtered.get(), buffer, sizeof buffer);
            if (count <= 0) break;
            bytes.append(buffer, static_cast<std::size_t>(count));
        }
        return bytes;
    }

    DocumentReading& reading_;
    GatheredText& text_;
    int depth_ = 0;
};

void initialiseOnce() {
    static std::once_flag once;
    std::call_once(once, g_mime_init);
}

}  // namespace

DocumentText readMail(DocumentReading& reading) {
    initialiseOnce();
    OpenedFile file = OpenedFile::open(reading);
    const Owned<GMimeStream> stream(g_mime_stream_fs_new(file.release()));
    const Owned<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
    const Owned<GMimeMessage> message(g_mime_parser_construct_message(parser.get(), nullptr));
    if (!message) reading.failDamaged("it is no mail message");
    GatheredText text(reading.limits().maximumTextByteCount);
    MessageWalk(reading, text).addMessage(message.get());
    GatheredText title(maximumTitleByteCount);
    title.add(view(g_mime_message_get_subject(message.get())));
    return {title.take(), text.take()};
}

}  // namespace nookery
