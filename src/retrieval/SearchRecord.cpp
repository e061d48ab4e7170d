#include "retrieval/SearchRecord.h"

#include "foundation/Text.h"
#include "retrieval/ContentPieces.h"
#include "retrieval/Hashtags.h"
#include "retrieval/TextNormalizer.h"

namespace nookery {
namespace {

constexpr std::string_view noteMarker = "mobile-note-id:";
constexpr std::string_view markerOpening = "__crumb_";
constexpr std::string_view markerClosing = "__";

/// The length of the marker that a text begins with; 0 when it begins with none.
std::size_t markerLength(std::string_view text) {
    if (text.starts_with(noteMarker)) {
        const std::size_t end = text.find_first_of(" \t\r\n", noteMarker.size());
        return end == std::string_view::npos ? text.size() : end;
    }
    if (!text.starts_with(markerOpening)) return 0;
    const std::size_t nameEnd = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz_", 1);
    const std::string_view name = text.substr(0, nameEnd);
    const std::size_t closing = name.rfind(markerClosing);
    return closing >= markerOpening.size() ? closing + markerClosing.size() : 0;
}

std::size_t nextMarker(std::string_view text, std::size_t from) {
    return std::min(text.find(noteMarker, from), text.find(markerOpening, from));
}

std::string_view fileName(std::string_view path) { return path.substr(path.rfind('/') + 1); }

std::string_view withoutScheme(std::string_view link) {
    const std::size_t end = link.find("://");
    return end == std::string_view::npos ? link : link.substr(end + 3);
}

/// Gathers the lines of `combined`.
class CombinedLines {
  public:
    explicit CombinedLines(std::string& combined) : combined_(combined) { combined_.clear(); }

    void add(std::string_view text) {
        writeCombinedForm(text, line_);
        addForm(line_);
    }
    void add(std::string_view text, const std::string& normal) {
        if (isAsciiText(text)) {
            addForm(normal);
        } else {
            add(text);
        }
    }
    void addForm(std::string_view form) {
        if (!combined_.empty() || started_) combined_ += '\n';
        started_ = true;
        combined_ += form;
    }

  private:
    std::string& combined_;
    std::string line_;
    bool started_ = false;
};

/// What an original holds, and what is merely known of it.
struct Contents {
    std::string text;
    std::string facts;
};

bool holdsMarkers(std::string_view text) { return nextMarker(text, 0) != std::string::npos; }

Contents contentsOf(const CrumbItem& item) {
    Contents contents;
    contents.text = item.text.value_or("");
    if (holdsMarkers(contents.text)) contents.text = withoutInternalMarkers(contents.text);
    std::string readable;
    std::string_view searchable = item.searchableText;
    if (holdsMarkers(searchable)) {
        contents.facts = parseContentPieces(searchable).facts;
        readable = readableContents(searchable);
        searchable = readable;
    }
    if (searchable.empty() || searchable == contents.text) return contents;
    if (!contents.text.empty()) contents.text += '\n';
    contents.text += searchable;
    return contents;
}

}  // namespace

std::string withoutInternalMarkers(std::string_view text) {
    std::string kept;
    std::size_t position = 0;
    while (true) {
        const std::size_t marker = nextMarker(text, position);
        if (marker == std::string_view::npos) break;
        const std::size_t length = markerLength(text.substr(marker));
        kept += text.substr(position, marker - position);
        if (length == 0) kept += text[marker];
        position = marker + std::max<std::size_t>(length, 1);
    }
    kept += text.substr(position);
    return kept;
}

std::set<std::string> tagsOf(const CrumbItem& item, const std::vector<std::string>& manualTags) {
    std::set<std::string> tags;
    if (item.title.find('#') != std::string::npos) tags = hashtagsIn(item.title);
    if (item.note.find('#') != std::string::npos) tags.merge(hashtagsIn(item.note));
    for (const std::string& tag : manualTags) {
        if (std::string comparable = comparableTag(tag); !comparable.empty()) {
            tags.insert(std::move(comparable));
        }
    }
    return tags;
}

void writeSearchRecord(const CrumbItem& item, const MemoryFacets& facets, SearchRecord& record) {
    const Contents contents = contentsOf(item);
    writeNormalForm(item.title, record.title);
    writeNormalForm(item.note, record.note);
    writeNormalForm(contents.text, record.searchable);
    record.tags = tagsOf(item, facets.manualTags);
    record.people.clear();
    for (const std::string& name : facets.people) record.people.insert(lowerCased(name));

    CombinedLines lines(record.combined);
    lines.add(item.title, record.title);
    lines.add(item.note, record.note);
    lines.add(contents.text, record.searchable);
    lines.add(withoutScheme(item.urlString.value_or("")));
    lines.add(fileName(item.filePath.value_or("")));
    lines.add(facets.groupName);
    lines.add(contents.facts);
    for (const std::string& tag : record.tags) lines.add(tag);
    for (const std::string& name : record.people) lines.add(name);
}

SearchRecord makeSearchRecord(const CrumbItem& item, const MemoryFacets& facets) {
    SearchRecord record;
    writeSearchRecord(item, facets, record);
    return record;
}

}  // namespace nookery
