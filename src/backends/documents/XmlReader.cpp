#include "backends/documents/XmlReader.h"

namespace nookery {
namespace {

std::string_view view(const xmlChar* text) {
    return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

void ignoreMessage(void*, xmlErrorPtr) {}

}  // namespace

XmlReader::XmlReader(ZipPart part, DocumentReading& reading)
    : part_(std::move(part)), reading_(reading) {
    reader_ = xmlReaderForIO(&XmlReader::readBytes, nullptr, this, nullptr, nullptr,
                             XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    if (failure_) std::rethrow_exception(failure_);
    if (reader_ == nullptr) reading_.failDamaged("a part of it cannot be read as XML");
    xmlTextReaderSetStructuredErrorHandler(reader_, &ignoreMessage, nullptr);
}

XmlReader::~XmlReader() { xmlFreeTextReader(reader_); }

/// Called by C code, through which no exception may pass.
int XmlReader::readBytes(void* context, char* buffer, int byteCount) {
    auto* self = static_cast<XmlReader*>(context);
    try {
        const std::size_t count = self->part_.read({buffer, static_cast<std::size_t>(byteCount)});
        self->refuseHugeTags({buffer, count});
        return static_cast<int>(count);
    } catch (...) {
        self->failure_ = std::current_exception();
        return -1;
    }
}

/// libxml2 compares each attribute of a tag with all before it, so their number must be bounded. No
/// tag holds a "<": between two of them, a tag has no more attributes than quotes behind an "=".
void XmlReader::refuseHugeTags(std::string_view bytes) {
    constexpr std::size_t maximumValueCount = 2000;
    for (const char c : bytes) {
        if (c == '<') valueCount_ = 0;
        if (isAfterEquals_ && (c == '"' || c == '\'')) ++valueCount_;
        const bool isGap = c == '\0' || c == ' ' || c == '\t' || c == '\r' || c == '\n';
        isAfterEquals_ = c == '=' || (isAfterEquals_ && isGap);
    }
    if (valueCount_ > maximumValueCount) reading_.failDamaged("one of its tags is far too large");
}

bool XmlReader::advance() {
    const int result = xmlTextReaderRead(reader_);
    if (failure_) std::rethrow_exception(failure_);
    if (result < 0)
        reading_.failDamaged("a part of it is not valid XML, too large or too deeply nested");
    return result > 0;
}

bool XmlReader::next() {
    if (endIsDue_) {
        endIsDue_ = false;
        node_ = Node::end;
        return true;
    }
    while (advance()) {
        switch (xmlTextReaderNodeType(reader_)) {
            case XML_READER_TYPE_ELEMENT:
                node_ = Node::start;
                endIsDue_ = xmlTextReaderIsEmptyElement(reader_) == 1;
                return true;
            case XML_READER_TYPE_END_ELEMENT:
                node_ = Node::end;
                return true;
            case XML_READER_TYPE_TEXT:
            case XML_READER_TYPE_CDATA:
            case XML_READER_TYPE_WHITESPACE:
            case XML_READER_TYPE_SIGNIFICANT_WHITESPACE:
                node_ = Node::text;
                return true;
            default:
                break;
        }
    }
    return false;
}

void XmlReader::skipElement() {
    for (int depth = 1; depth > 0 && next();) {
        if (node_ == Node::start) ++depth;
        if (node_ == Node::end) --depth;
    }
}

std::string_view XmlReader::name() const { return view(xmlTextReaderConstLocalName(reader_)); }

std::string_view XmlReader::text() const { return view(xmlTextReaderConstValue(reader_)); }

std::string XmlReader::attribute(std::string_view name, std::string_view namespaceEnd) const {
    std::string value;
    for (int found = xmlTextReaderMoveToFirstAttribute(reader_); found == 1;
         found = xmlTextReaderMoveToNextAttribute(reader_)) {
        if (view(xmlTextReaderConstLocalName(reader_)) != name ||
            !view(xmlTextReaderConstNamespaceUri(reader_)).ends_with(namespaceEnd)) {
            continue;
        }
        value = view(xmlTextReaderConstValue(reader_));
        break;
    }
    xmlTextReaderMoveToElement(reader_);
    return value;
}

}  // namespace nookery
