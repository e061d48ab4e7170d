#include "backends/documents/DocumentFormatReaders.h"
#include "backends/documents/OpcPackage.h"
#include "backends/documents/XmlReader.h"

namespace nookery {
namespace {

void addPart(ZipPart part, DocumentReading& reading, GatheredText& text) {
    XmlReader xml(std::move(part), reading);
    bool inText = false;
    while (!text.isFull() && xml.next()) {
        if (inText && xml.node() == XmlReader::Node::text) text.add(xml.text());
        if (xml.node() != XmlReader::Node::text) inText = xml.isStart("t");
        if (xml.isEnd("p") || xml.isStart("br")) text.endLine();
        const bool isSlideNumber = xml.isStart("fld") && xml.attribute("type") == "slidenum";
        if (isSlideNumber || xml.isStart("Fallback")) xml.skipElement();
    }
}

/// The slide's text, then what it keeps in parts of its own: diagrams and the speaker's notes.
void addSlide(const OpcPackage& package, const std::string& slide, GatheredText& text) {
    auto part = package.archive().find(slide);
    if (!part) return;
    addPart(std::move(*part), package.reading(), text);
    for (const OpcRelation& relation : package.relations(slide)) {
        const bool isText =
            relation.type.ends_with("/diagramData") || relation.type.ends_with("/notesSlide");
        if (!isText) continue;
        if (auto sidePart = package.archive().find(relation.target)) {
            addPart(std::move(*sidePart), package.reading(), text);
        }
    }
    text.endLine();
}

}  // namespace

DocumentText readPresentation(DocumentReading& reading) {
    const OpcPackage package = OpcPackage::open(reading);
    const std::string mainPart = package.mainPart();
    const auto targets = targetsById(package.relations(mainPart));
    std::size_t slideCount = 0;
    GatheredText text(reading.limits().maximumTextByteCount);
    XmlReader xml(package.archive().part(mainPart), reading);
    while (!text.isFull() && slideCount < maximumListedPartCount && xml.next()) {
        if (!xml.isStart("sldId")) continue;
        ++slideCount;
        const auto slide = targets.find(xml.attribute("id", "/relationships"));
        if (slide != targets.end()) addSlide(package, slide->second, text);
    }
    return {package.title(), text.take()};
}

}  // namespace nookery
