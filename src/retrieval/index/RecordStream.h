#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "retrieval/index/SearchRecord.h"
#include "retrieval/index/TokenStreams.h"
#include "retrieval/text/TextNormalizer.h"

namespace nookery {

/// Writes the texts of a search record as a token stream. `Table` numbers the tokens: a Vocabulary
/// or a TokenTable. Tags and the end are the caller's to add.
template <typename Table>
class RecordStream {
  public:
    RecordStream(Table& table, TokenStreamWriter& writer) : table_(table), writer_(writer) {}

    void write(const SearchRecord& record) {
        addSection(Section::title, record.title);
        addSection(Section::note, record.note);
        addSection(Section::contents, record.searchable);
        rest_ = record.combined;
        addOtherForm(Section::titleAllScripts, record.title);
        addOtherForm(Section::noteAllScripts, record.note);
        addOtherForm(Section::contentsAllScripts, record.searchable);
        addLines(Section::details, detailLineCount + record.tags.size());
        addLines(Section::people, record.people.size());
    }

  private:
    /// The lines of SearchRecord::combined between the contents and the tags.
    static constexpr std::size_t detailLineCount = 4;

    std::string_view nextLine() {
        const std::size_t end = std::min(rest_.find('\n'), rest_.size());
        const std::string_view line = rest_.substr(0, end);
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        return line;
    }

    void addTokens(std::string_view form) {
        forEachToken(form, [&](std::string_view token) { writer_.add(table_.intern(token)); });
    }

    void addSection(Section section, std::string_view form) {
        if (form.empty()) return;
        writer_.begin(section);
        addTokens(form);
    }

    void addOtherForm(Section section, std::string_view normal) {
        const std::string_view line = nextLine();
        if (line != normal) addSection(section, line);
    }

    void addLines(Section section, std::size_t count) {
        bool begun = false;
        for (std::size_t i = 0; i < count; ++i) {
            const std::string_view line = nextLine();
            if (line.empty()) continue;
            writer_.begin(begun ? Section::lineBreak : section);
            begun = true;
            addTokens(line);
        }
    }

    Table& table_;
    TokenStreamWriter& writer_;
    std::string_view rest_;
};

}  // namespace nookery
