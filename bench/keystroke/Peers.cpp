#include "keystroke/Peers.h"

#include <stdexcept>

#include "foundation/Text.h"
#include "retrieval/text/TextNormalizer.h"

namespace nookery::bench {
namespace {

bool holdsWord(const std::string& form, const std::string& word) {
    if (codePointCount(word) >= 3) return form.find(word) != std::string::npos;
    for (const std::string_view line : splitLines(form)) {
        for (const std::string_view token : splitWhiteSpace(line)) {
            if (token == word) return true;
        }
    }
    return false;
}

bool holds(const SearchRecord& record, const std::string& word) {
    return holdsWord(record.title, word) || holdsWord(record.note, word) ||
           holdsWord(record.searchable, word) || holdsWord(record.combined, word);
}

}  // namespace

TrigramPeer::TrigramPeer(const CrumbItemList& memories) {
    if (sqlite3_open(":memory:", &database_) != SQLITE_OK) throw std::runtime_error("no SQLite");
    execute("CREATE VIRTUAL TABLE m USING fts5(title, note, body, tokenize='trigram', content='')");
    execute("BEGIN");
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(database_, "INSERT INTO m(rowid, title, note, body) VALUES(?,?,?,?)", -1,
                       &insert, nullptr);
    sqlite3_int64 row = 0;
    for (const CrumbItemPointer& memory : memories) {
        sqlite3_bind_int64(insert, 1, ++row);
        int column = 2;
        for (const std::string* text : {&memory->title, &memory->note, &memory->searchableText}) {
            sqlite3_bind_text(insert, column++, text->data(), static_cast<int>(text->size()),
                              SQLITE_STATIC);
        }
        if (sqlite3_step(insert) != SQLITE_DONE) {
            throw std::runtime_error(sqlite3_errmsg(database_));
        }
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    execute("COMMIT");
    sqlite3_prepare_v2(database_, "SELECT rowid FROM m WHERE m MATCH ? ORDER BY bm25(m) LIMIT 50",
                       -1, &query_, nullptr);
}

TrigramPeer::~TrigramPeer() {
    sqlite3_finalize(query_);
    sqlite3_close(database_);
}

void TrigramPeer::execute(const char* sql) {
    if (sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sqlite3_errmsg(database_));
    }
}

std::size_t TrigramPeer::search(const std::string& typed) {
    std::string match;
    for (const std::string_view word : splitWhiteSpace(typed)) {
        if (codePointCount(word) < 3) continue;
        if (!match.empty()) match += " OR ";
        match += '"';
        for (const char letter : word) match += letter == '"' ? "\"\"" : std::string(1, letter);
        match += '"';
    }
    if (match.empty()) return 0;
    sqlite3_bind_text(query_, 1, match.data(), static_cast<int>(match.size()), SQLITE_STATIC);
    std::size_t rows = 0;
    while (sqlite3_step(query_) == SQLITE_ROW) ++rows;
    sqlite3_reset(query_);
    return rows;
}

RawScan::RawScan(const CrumbItemList& memories) {
    for (const CrumbItemPointer& memory : memories) {
        records_.push_back(makeSearchRecord(*memory, {}));
    }
}

RawScan::Count RawScan::count(const std::string& typed) const {
    std::vector<std::string> words;
    for (const std::string_view piece : splitWhiteSpace(typed)) {
        std::string word = normalForm(piece);
        if (word.empty()) word = combinedForm(piece);
        if (!word.empty()) words.push_back(std::move(word));
    }
    Count count;
    std::vector<bool> found(words.size(), false);
    for (const SearchRecord& record : records_) {
        bool any = false;
        for (std::size_t i = 0; i < words.size(); ++i) {
            if ((any && found[i]) || !holds(record, words[i])) continue;
            any = true;
            found[i] = true;
        }
        count.memories += any ? 1 : 0;
    }
    for (const bool one : found) count.everyWordFound = count.everyWordFound && one;
    return count;
}

}  // namespace nookery::bench
