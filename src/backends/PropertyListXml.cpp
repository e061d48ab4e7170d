#include "backends/PropertyListXml.h"

#include <fmt/format.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <charconv>
#include <climits>

#include "foundation/Base64.h"
#include "foundation/Error.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::string_view header =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";

[[noreturn]] void throwMalformed(std::string_view what) {
    throw Error(fmt::format("The property list is malformed: {}.", what));
}

/// XML 1.0 cannot hold most control characters, and readers change a plain carriage return.
std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '&')
            result += "&amp;";
        else if (c == '<')
            result += "&lt;";
        else if (c == '>')
            result += "&gt;";
        else if (c == '\r')
            result += "&#13;";
        else if (byte < 0x20 && c != '\t' && c != '\n')
            throwMalformed("a text holds a control character");
        else
            result += c;
    }
    return result;
}

struct ValueWriter {
    std::string operator()(const std::string& text) const {
        if (!isValidUtf8(text)) throwMalformed("a text is not UTF-8");
        return "<string>" + escaped(text) + "</string>";
    }
    std::string operator()(long number) const {
        return fmt::format("<integer>{}</integer>", number);
    }
    std::string operator()(const std::vector<unsigned char>& bytes) const {
        const std::string text =
            toBase64({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        return "<data>" + text + "</data>";
    }
};

using Document = std::unique_ptr<xmlDoc, void (*)(xmlDoc*)>;

Document parse(const std::string& xml) {
    if (xml.size() > INT_MAX) throwMalformed("it is too large");
    // Entities are not expanded, and are refused below. Data values may be huge.
    constexpr int options =
        XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE;
    Document document(
        xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, options),
        &xmlFreeDoc);
    if (!document) throwMalformed("it is not well-formed XML");
    if (document->intSubset != nullptr && document->intSubset->entities != nullptr) {
        throwMalformed("it defines entities");
    }
    return document;
}

bool isElement(const xmlNode* node, std::string_view name) {
    return node->type == XML_ELEMENT_NODE && name == reinterpret_cast<const char*>(node->name);
}

bool isIgnorable(const xmlNode* node) {
    return node->type == XML_COMMENT_NODE || (node->type == XML_TEXT_NODE && xmlIsBlankNode(node));
}

const xmlNode* skipIgnorable(const xmlNode* node) {
    while (node != nullptr && isIgnorable(node)) node = node->next;
    return node;
}

std::string textOf(const xmlNode* element) {
    std::string text;
    for (const xmlNode* child = element->children; child != nullptr; child = child->next) {
        if (child->type != XML_TEXT_NODE && child->type != XML_CDATA_SECTION_NODE) {
            throwMalformed("a value holds something besides text");
        }
        text += reinterpret_cast<const char*>(child->content);
    }
    return text;
}

std::vector<unsigned char> dataFrom(const std::string& text) {
    const auto bytes = fromBase64(text);
    if (!bytes) throwMalformed("its data is not base64");
    return {bytes->begin(), bytes->end()};
}

PropertyListValue readValue(const xmlNode* element) {
    if (isElement(element, "string")) return textOf(element);
    if (isElement(element, "data")) return dataFrom(textOf(element));
    if (!isElement(element, "integer")) throwMalformed("a value is of an unknown type");
    const std::string text(trimmed(textOf(element)));
    long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        throwMalformed("an integer is no number");
    }
    return number;
}

PropertyList readDictionary(const xmlNode* dictionary) {
    PropertyList list;
    const xmlNode* node = skipIgnorable(dictionary->children);
    while (node != nullptr) {
        if (!isElement(node, "key")) throwMalformed("a value has no key");
        const xmlNode* value = skipIgnorable(node->next);
        if (value == nullptr) throwMalformed("a key has no value");
        if (!list.emplace(textOf(node), readValue(value)).second)
            throwMalformed("a key stands in it twice");
        node = skipIgnorable(value->next);
    }
    return list;
}

class XmlPropertyLists final : public PropertyListFormat {
  public:
    std::string write(const PropertyList& list) const override {
        std::string xml(header);
        xml += "<plist version=\"1.0\">\n<dict>\n";
        for (const auto& [key, value] : list) {
            xml += fmt::format("\t<key>{}</key>\n\t{}\n", escaped(key),
                               std::visit(ValueWriter{}, value));
        }
        return xml + "</dict>\n</plist>\n";
    }

    PropertyList read(const std::string& xml) const override {
        const Document document = parse(xml);
        const xmlNode* root = xmlDocGetRootElement(document.get());
        if (root == nullptr || !isElement(root, "plist")) throwMalformed("its root is not plist");
        const xmlNode* dictionary = skipIgnorable(root->children);
        if (dictionary == nullptr || !isElement(dictionary, "dict") ||
            skipIgnorable(dictionary->next) != nullptr) {
            throwMalformed("it does not hold one dictionary");
        }
        return readDictionary(dictionary);
    }
};

}  // namespace

std::unique_ptr<PropertyListFormat> makeXmlPropertyLists() {
    xmlInitParser();
    return std::make_unique<XmlPropertyLists>();
}

}  // namespace nookery
