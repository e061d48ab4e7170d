#include "backends/PropertyListXml.h"

#include <fmt/format.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <array>
#include <charconv>
#include <climits>

#include "foundation/Error.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::string_view header =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";

constexpr std::string_view base64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string toBase64(const std::vector<unsigned char>& bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) group = group << 8 | (k < count ? bytes[i + k] : 0u);
        for (std::size_t k = 0; k < 4; ++k) {
            text += k <= count ? base64Digits[group >> (18 - 6 * k) & 63] : '=';
        }
    }
    return text;
}

[[noreturn]] void throwMalformed(std::string_view what) {
    throw Error(fmt::format("Malformed property list: {}.", what));
}

std::vector<unsigned char> fromBase64(std::string_view text) {
    std::vector<unsigned char> bytes;
    std::uint32_t group = 0;
    int digitCount = 0;
    bool ended = false;
    for (const char c : text) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
        ended = ended || c == '=';
        if (c == '=') continue;
        const std::size_t value = base64Digits.find(c);
        if (ended || value == std::string_view::npos) throwMalformed("data is not base64");
        group = group << 6 | static_cast<std::uint32_t>(value);
        if (++digitCount % 4 == 0) {
            for (const int shift : {16, 8, 0}) {
                bytes.push_back(static_cast<unsigned char>(group >> shift));
            }
            group = 0;
        }
    }
    switch (digitCount % 4) {
        case 1:
            throwMalformed("data ends in the middle of a byte");
        case 2:
            bytes.push_back(static_cast<unsigned char>(group >> 4));
            break;
        case 3:
            bytes.push_back(static_cast<unsigned char>(group >> 10));
            bytes.push_back(static_cast<unsigned char>(group >> 2));
            break;
        default:
            break;
    }
    return bytes;
}

/// XML 1.0 can carry neither most control characters nor, unchanged, a carriage return.
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
            throwMalformed("a control character");
        else
            result += c;
    }
    return result;
}

struct ValueWriter {
    std::string operator()(const std::string& text) const {
        if (!isValidUtf8(text)) throwMalformed("text that is not UTF-8");
        return "<string>" + escaped(text) + "</string>";
    }
    std::string operator()(long number) const {
        return fmt::format("<integer>{}</integer>", number);
    }
    std::string operator()(const std::vector<unsigned char>& bytes) const {
        return "<data>" + toBase64(bytes) + "</data>";
    }
};

using Document = std::unique_ptr<xmlDoc, void (*)(xmlDoc*)>;

Document parse(const std::string& xml) {
    if (xml.size() > INT_MAX) throwMalformed("it is too large");
    // Entities stay unexpanded nodes (and are refused below); huge data values are legitimate.
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

PropertyListValue readValue(const xmlNode* element) {
    if (isElement(element, "string")) return textOf(element);
    if (isElement(element, "data")) return fromBase64(textOf(element));
    if (!isElement(element, "integer")) throwMalformed("a value of an unknown type");
    const std::string text(trimmed(textOf(element)));
    long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        throwMalformed("an integer that is none");
    }
    return number;
}

PropertyList readDictionary(const xmlNode* dictionary) {
    PropertyList list;
    const xmlNode* node = skipIgnorable(dictionary->children);
    while (node != nullptr) {
        if (!isElement(node, "key")) throwMalformed("a value without a key");
        const xmlNode* value = skipIgnorable(node->next);
        if (value == nullptr) throwMalformed("a key without a value");
        if (!list.emplace(textOf(node), readValue(value)).second) throwMalformed("a key twice");
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
