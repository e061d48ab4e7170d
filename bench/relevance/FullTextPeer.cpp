#include "relevance/FullTextPeer.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include "foundation/Error.h"
#include "foundation/Text.h"

namespace nookery::relevance {
namespace {

/// The question's words, each quoted, any of which may match.
std::string anyOf(const std::string& question) {
    std::string expression;
    std::string word;
    for (const char byte : question + " ") {
        const auto value = static_cast<unsigned char>(byte);
        if (value >= 0x80 || std::isalnum(value) != 0) {
            word += byte;
        } else if (!word.empty()) {
            expression += fmt::format("{}\"{}\"", expression.empty() ? "" : " OR ", word);
            word.clear();
        }
    }
    return expression;
}

}  // namespace

FullTextPeer::FullTextPeer(const std::vector<Record>& records)
    : database_(nullptr, &sqlite3_close), select_(nullptr, &sqlite3_finalize) {
    sqlite3* handle = nullptr;
    if (sqlite3_open(":memory:", &handle) != SQLITE_OK) throw Error("SQLite does not open.");
    database_.reset(handle);
    execute(
        "CREATE VIRTUAL TABLE records USING fts5(title, note, text, tags, "
        "tokenize='porter unicode61')");
    insert(records);
    select_ = prepare(
        "SELECT rowid FROM records WHERE records MATCH ? "
        "ORDER BY bm25(records, 4.0, 2.0, 1.0, 1.0), rowid LIMIT 10");
}

void FullTextPeer::insert(const std::vector<Record>& records) {
    execute("BEGIN");
    const auto statement =
        prepare("INSERT INTO records(rowid, title, note, text, tags) VALUES (?,?,?,?,?)");
    for (std::size_t i = 0; i < records.size(); ++i) {
        const Record& record = records[i];
        const std::string tags = fmt::format("{}", fmt::join(record.tags, " "));
        sqlite3_bind_int64(statement.get(), 1, static_cast<sqlite3_int64>(i));
        int column = 2;
        for (const std::string* text : {&record.title, &record.note, &record.text, &tags}) {
            sqlite3_bind_text(statement.get(), column++, text->c_str(),
                              static_cast<int>(text->size()), SQLITE_TRANSIENT);
        }
        if (sqlite3_step(statement.get()) != SQLITE_DONE)
            throw Error(sqlite3_errmsg(database_.get()));
        sqlite3_reset(statement.get());
    }
    execute("COMMIT");
}

std::vector<std::size_t> FullTextPeer::topTen(const std::string& question) {
    const std::string expression = anyOf(question);
    if (expression.empty()) return {};
    sqlite3_bind_text(select_.get(), 1, expression.c_str(), -1, SQLITE_TRANSIENT);
    std::vector<std::size_t> ranking;
    int state = sqlite3_step(select_.get());
    for (; state == SQLITE_ROW; state = sqlite3_step(select_.get())) {
        ranking.push_back(static_cast<std::size_t>(sqlite3_column_int64(select_.get(), 0)));
    }
    if (state != SQLITE_DONE) throw Error(sqlite3_errmsg(database_.get()));
    sqlite3_reset(select_.get());
    return ranking;
}

void FullTextPeer::execute(const char* sql) {
    if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw Error(sqlite3_errmsg(database_.get()));
    }
}

FullTextPeer::Statement FullTextPeer::prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database_.get(), sql, -1, &statement, nullptr) != SQLITE_OK) {
        throw Error(sqlite3_errmsg(database_.get()));
    }
    return {statement, &sqlite3_finalize};
}

}  // namespace nookery::relevance
