#include <algorithm>
#include <array>

#include "backends/documents/DocumentFormatReaders.h"
#include "backends/documents/OpcPackage.h"
#include "backends/documents/XmlReader.h"

namespace nookery {
namespace {

/// Elements whose content is no text, or stands in the file a second time: formatting, text that
/// was moved away, and substitutes for drawings.
bool isBesideTheText(std::string_view element) {
    constexpr std::array<std::string_view, 6> names = {"pPr",   "rPr",      "sectPr",
                                                       "tblPr", "moveFrom", "Fallback"};
    return std::find(names.begin(), names.end(), element) != names.end();
}

void addPart(ZipPart part, DocumentReading& reading, GatheredText& text) {
    XmlReader xml(std::move(part), reading);
    bool inText = false;
    while (!text.isFull() && xml.next()) {
        const std::string_view name = xml.name();
        switch (xml.node()) {
            case XmlReader::Node::text:
                if (inText) text.add(xml.text());
                break;
            case XmlReader::Node::end:
                inText = false;
                if (name == "p") text.endLine();
                break;
            case XmlReader::Node::start:
                inText = name == "t";
                if (name == "tab") text.add("\t");
                if (name == "noBreakHyphen") text.add("-");
                if (name == "br" || name == "cr") text.endLine();
                if (isBesideTheText(name)) xml.skipElement();
                break;
        }
    }
}

bool isSideText(std::string_view relationType) {
    constexpr std::array<std::string_view, 5> kinds = {"/header", "/footer", "/footnotes",
                                                       "/endnotes", "/comments"};
    return std::any_of(kinds.begin(), kinds.end(),
                       [&](std::string_view kind) { return relationType.ends_with(kind); });
}

}  // namespace

DocumentText readWordDocument(DocumentReading& reading) {
    const OpcPackage package = OpcPackage::open(reading);
    const std::string mainPart = package.mainPart();
    GatheredText text(reading.limits().maximumTextByteCount);
    addPart(package.archive().part(mainPart), reading, text);
    for (const OpcRelation& relation : package.relations(mainPart)) {
        if (text.isFull() || !isSideText(relation.type)) continue;
        if (auto part = package.archive().find(relation.target)) {
            text.endLine();
            addPart(std::move(*part), reading, text);
        }
    }
    return {package.title(), text.take()};
}

}  // namespace nookery
