#include "retrieval/index/SearchRecord.h"

#include "foundation/Text.h"
#include "records/InternalMarkers.h"
#include "retrieval/text/ContentPieces.h"
#include "retrieval/text/Hashtags.h"
#include "retrieval/text/TextNormalizer.h"

namespace nookery {
namespace {

std::string_view fileName(std::string_view path) { return path.substr(path.rfind('/') + 1); }

std::string_view withoutScheme(std::string_view link) {
    const std::size_t end = link.find("://");
    return end == std::string_view::npos ? link : link.substr(end + 3);
}

/// Writes the lines of `combined`.
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

/// The words of an original, and the facts about it.
struct Contents {
    std::string text;
    std::string facts;
};

Contents contentsOf(const CrumbItem& item) {
    Contents contents;
    contents.text = item.text.value_or("");
    if (holdsInternalMarkers(contents.text)) contents.text = withoutInternalMarkers(contents.text);
    std::string readable;
    std::string_view searchable = item.searchableText;
    if (holdsInternalMarkers(searchable)) {
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

void writeSearchRecord(const CrumbItem& item, const MemoryAttributes& attributes,
                       SearchRecord& record) {
    const Contents contents = contentsOf(item);
    writeNormalForm(item.title, record.title);
    writeNormalForm(item.note, record.note);
    writeNormalForm(contents.text, record.searchable);
    record.tags = tagsOf(item, attributes.manualTags);
    record.people.clear();
    for (const std::string& name : attributes.people) record.people.insert(lowerCased(name));

    CombinedLines lines(record.combined);
    lines.add(item.title, record.title);
    lines.add(item.note, record.note);
    lines.add(contents.text, record.searchable);
    lines.add(withoutScheme(item.urlString.value_or("")));
    lines.add(fileName(item.filePath.value_or("")));
    lines.add(attributes.groupName);
    lines.add(contents.facts);
    for (const std::string& tag : record.tags) lines.add(tag);
    for (const std::string& name : record.people) lines.add(name);
}

SearchRecord makeSearchRecord(const CrumbItem& item, const MemoryAttributes& attributes) {
    SearchRecord record;
    writeSearchRecord(item, attributes, record);
    return record;
}

}  // namespace nookery
