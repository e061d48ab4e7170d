#include <charconv>
#include <cstdint>
#include <vector>

#include "backends/documents/DocumentFormatReaders.h"
#include "backends/documents/OpcPackage.h"
#include "backends/documents/XmlReader.h"

namespace nookery {
namespace {

/// The texts that cells refer to by number, one behind the other. Texts beyond the limit of a
/// document's text are left out.
class SharedStrings {
  public:
    static SharedStrings read(ZipPart part, DocumentReading& reading) {
        const std::size_t maximum = reading.limits().maximumTextByteCount;
        SharedStrings strings;
        XmlReader xml(std::move(part), reading);
        bool inText = false;
        while (strings.all_.size() + strings.ends_.size() < maximum && xml.next()) {
            if (inText && xml.node() == XmlReader::Node::text) strings.all_ += xml.text();
            if (xml.node() != XmlReader::Node::text) inText = xml.isStart("t");
            if (xml.isEnd("si")) strings.ends_.push_back(strings.all_.size());
            // This tells how a text is pronounced.
            if (xml.isStart("rPh")) xml.skipElement();
        }
        return strings;
    }

    /// Empty when there is no text of that number.
    std::string_view at(std::string_view number) const {
        std::size_t index = 0;
        const auto read = std::from_chars(number.data(), number.data() + number.size(), index);
        if (read.ec != std::errc() || index >= ends_.size()) return {};
        const std::size_t start = index == 0 ? 0 : ends_[index - 1];
        return std::string_view(all_).substr(start, ends_[index] - start);
    }

  private:
    std::string all_;
    std::vector<std::size_t> ends_;
};

/// The file stores numbers with all their digits; a person knows them with the fewest digits that
/// mean the same.
std::string shortestNumber(std::string_view stored) {
    double value = 0;
    const auto read = std::from_chars(stored.data(), stored.data() + stored.size(), value);
    if (read.ec != std::errc() || read.ptr != stored.data() + stored.size()) {
        return std::string(stored);
    }
    char digits[32];
    const auto written = std::to_chars(std::begin(digits), std::end(digits), value);
    return {digits, written.ptr};
}

std::string shownValue(std::string_view type, std::string_view stored,
                       const SharedStrings& strings) {
    if (stored.empty()) return {};
    if (type == "s") return std::string(strings.at(stored));
    if (type == "b") return stored == "1" ? "TRUE" : "FALSE";
    if (type.empty() || type == "n") return shortestNumber(stored);
    return std::string(stored);
}

void addCell(const std::string& shown, GatheredText& text) {
    if (!shown.empty()) text.add(shown + "\t");
}

void addSheet(ZipPart part, DocumentReading& reading, const SharedStrings& strings,
              GatheredText& text) {
    XmlReader xml(std::move(part), reading);
    std::string type;
    std::string stored;
    bool inValue = false;
    while (!text.isFull() && xml.next()) {
        if (inValue && xml.node() == XmlReader::Node::text) stored += xml.text();
        // The value proper, or a text that stands in the cell itself.
        if (xml.node() != XmlReader::Node::text) inValue = xml.isStart("v") || xml.isStart("t");
        if (xml.isStart("rPh")) xml.skipElement();
        if (xml.isStart("c")) {
            type = xml.attribute("t");
            stored.clear();
        }
        if (xml.isEnd("c")) addCell(shownValue(type, stored, strings), text);
        if (xml.isEnd("row")) text.endLine();
    }
    text.endLine();
}

SharedStrings sharedStrings(const OpcPackage& package, const std::vector<OpcRelation>& relations) {
    for (const OpcRelation& relation : relations) {
        if (!relation.type.ends_with("/sharedStrings")) continue;
        if (auto part = package.archive().find(relation.target)) {
            return SharedStrings::read(std::move(*part), package.reading());
        }
    }
    return {};
}

}  // namespace

DocumentText readWorkbook(DocumentReading& reading) {
    const OpcPackage package = OpcPackage::open(reading);
    const std::string mainPart = package.mainPart();
    const auto relations = package.relations(mainPart);
    const SharedStrings strings = sharedStrings(package, relations);
    GatheredText text(reading.limits().maximumTextByteCount);
    const auto targets = targetsById(relations);
    std::size_t sheetCount = 0;
    XmlReader xml(package.archive().part(mainPart), reading);
    while (!text.isFull() && sheetCount < maximumListedPartCount && xml.next()) {
        if (!xml.isStart("sheet")) continue;
        ++sheetCount;
        text.add(xml.attribute("name"));
        text.endLine();
        const auto target = targets.find(xml.attribute("id", "/relationships"));
        if (target == targets.end()) continue;
        auto sheet = package.archive().find(target->second);
        if (sheet) addSheet(std::move(*sheet), reading, strings, text);
    }
    return {package.title(), text.take()};
}

}  // namespace nookery
