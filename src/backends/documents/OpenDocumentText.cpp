#include "backends/documents/DocumentFormatReaders.h"
#include "backends/documents/OpcPackage.h"
#include "backends/documents/XmlReader.h"

namespace nookery {
namespace {

enum class Kind { text, spreadsheet };

void failWhenEncrypted(const ZipArchive& archive) {
    auto manifest = archive.find("META-INF/manifest.xml");
    if (!manifest) return;
    XmlReader xml(std::move(*manifest), archive.reading());
    while (xml.next()) {
        if (xml.isStart("encryption-data")) archive.reading().failEncrypted();
    }
}

/// Elements that hold deleted text or the numbers of footnotes.
bool isBesideTheText(std::string_view element) {
    return element == "tracked-changes" || element == "note-citation";
}

/// Turns the elements of a document's content into lines.
class ContentWalk {
  public:
    ContentWalk(Kind kind, GatheredText& text) : kind_(kind), text_(text) {}

    void visit(XmlReader& xml) {
        switch (xml.node()) {
            case XmlReader::Node::text:
                if (paragraphDepth_ > 0) text_.add(xml.text());
                break;
            case XmlReader::Node::start:
                start(xml);
                break;
            case XmlReader::Node::end:
                end(xml.name());
                break;
        }
    }

  private:
    static bool isParagraph(std::string_view name) { return name == "p" || name == "h"; }

    void start(XmlReader& xml) {
        const std::string_view name = xml.name();
        if (isParagraph(name)) ++paragraphDepth_;
        if (name == "s") text_.add(" ");
        if (name == "tab") text_.add("\t");
        if (name == "line-break") text_.endLine();
        if (name == "table" && kind_ == Kind::spreadsheet) {
            text_.add(xml.attribute("name"));
            text_.endLine();
        }
        if (isBesideTheText(name)) xml.skipElement();
    }

    void end(std::string_view name) {
        if (isParagraph(name)) {
            --paragraphDepth_;
            if (kind_ == Kind::spreadsheet) {
                text_.add("\t");
            } else {
                text_.endLine();
            }
        }
        if (name == "table-row" || name == "table" || name == "page") text_.endLine();
    }

    Kind kind_;
    GatheredText& text_;
    int paragraphDepth_ = 0;
};

DocumentText readOpenDocument(DocumentReading& reading, Kind kind) {
    const ZipArchive archive = ZipArchive::open(reading);
    failWhenEncrypted(archive);
    GatheredText text(reading.limits().maximumTextByteCount);
    ContentWalk walk(kind, text);
    XmlReader xml(archive.part("content.xml"), reading);
    while (!text.isFull() && xml.next()) walk.visit(xml);
    return {titleInPart(archive, "meta.xml"), text.take()};
}

}  // namespace

DocumentText readOpenDocumentText(DocumentReading& reading) {
    return readOpenDocument(reading, Kind::text);
}

DocumentText readOpenDocumentSpreadsheet(DocumentReading& reading) {
    return readOpenDocument(reading, Kind::spreadsheet);
}

}  // namespace nookery
