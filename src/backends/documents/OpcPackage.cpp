#include "backends/documents/OpcPackage.h"

#include "backends/documents/OpenedFile.h"
#include "backends/documents/XmlReader.h"

namespace nookery {
namespace {

std::string relationListOf(std::string_view part) {
    const std::size_t nameStart = part.rfind('/') + 1;
    return std::string(part.substr(0, nameStart)) + "_rels/" + std::string(part.substr(nameStart)) +
           ".rels";
}

/// A package encrypted with a password is no zip archive, but an older kind of container with
/// a stream of this name, in UTF-16.
void failWhenEncrypted(const DocumentReading& reading) {
    constexpr std::string_view containerMark = "\xD0\xCF\x11\xE0";
    const OpenedFile file = OpenedFile::open(reading);
    if (file.readAt(0, containerMark.size()) == containerMark) reading.failEncrypted();
}

}  // namespace

OpcPackage OpcPackage::open(DocumentReading& reading) {
    failWhenEncrypted(reading);
    return OpcPackage(ZipArchive::open(reading));
}

std::vector<OpcRelation> OpcPackage::relations(std::string_view part) const {
    std::vector<OpcRelation> relations;
    auto list = archive_.find(relationListOf(part));
    if (!list) return relations;
    XmlReader xml(std::move(*list), reading());
    while (relations.size() < maximumListedPartCount && xml.next()) {
        if (!xml.isStart("Relationship") || xml.attribute("TargetMode") == "External") continue;
        relations.push_back({xml.attribute("Id"), xml.attribute("Type"),
                             resolvedPartName(part, xml.attribute("Target"))});
    }
    return relations;
}

std::string OpcPackage::mainPart() const {
    for (const OpcRelation& relation : relations("")) {
        if (relation.type.ends_with("/officeDocument")) return relation.target;
    }
    reading().failDamaged("it does not say where its text is");
}

std::string OpcPackage::title() const {
    for (const OpcRelation& relation : relations("")) {
        if (relation.type.ends_with("/core-properties")) {
            return titleInPart(archive_, relation.target);
        }
    }
    return {};
}

std::map<std::string, std::string> targetsById(const std::vector<OpcRelation>& relations) {
    std::map<std::string, std::string> targets;
    for (const OpcRelation& relation : relations) targets[relation.id] = relation.target;
    return targets;
}

std::string titleInPart(const ZipArchive& archive, const std::string& part) {
    auto found = archive.find(part);
    if (!found) return {};
    GatheredText title(maximumTitleByteCount);
    XmlReader xml(std::move(*found), archive.reading());
    for (bool inTitle = false; xml.next();) {
        if (xml.isStart("title")) inTitle = true;
        if (inTitle && xml.node() == XmlReader::Node::text) title.add(xml.text());
        if (xml.isEnd("title")) break;
    }
    return title.take();
}

}  // namespace nookery
