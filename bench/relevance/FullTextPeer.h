#pragma once

#include <memory>
#include <string>
#include <vector>

#include "relevance/Collection.h"

struct sqlite3;
struct sqlite3_stmt;

namespace nookery::relevance {

/// The ranking to compare with: SQLite's full-text index with English stems and bm25, the title
/// weighted 4, the note 2, text and tags 1; any word of a question may match.
class FullTextPeer {
  public:
    explicit FullTextPeer(const std::vector<Record>& records);

    std::vector<std::size_t> topTen(const std::string& question);

  private:
    using Database = std::unique_ptr<sqlite3, int (*)(sqlite3*)>;
    using Statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;

    void execute(const char* sql);
    Statement prepare(const char* sql);
    void insert(const std::vector<Record>& records);

    Database database_;
    Statement select_;
};

}  // namespace nookery::relevance
