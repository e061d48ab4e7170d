#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

#include "records/CrumbItem.h"
#include "retrieval/index/SearchRecord.h"

namespace nookery::bench {

/// SQLite's full-text index over trigrams, ranked by bm25, in memory, asked for the same memories.
class TrigramPeer {
  public:
    explicit TrigramPeer(const CrumbItemList& memories);
    ~TrigramPeer();
    TrigramPeer(const TrigramPeer&) = delete;
    TrigramPeer& operator=(const TrigramPeer&) = delete;

    /// Finds the best 50 for the words of three letters or more, any of which may match. Says how
    /// many rows came.
    std::size_t search(const std::string& typed);

  private:
    void execute(const char* sql);

    sqlite3* database_ = nullptr;
    sqlite3_stmt* query_ = nullptr;
};

/// Counts matches the plain way: reads every memory's normalised text for every word.
class RawScan {
  public:
    explicit RawScan(const CrumbItemList& memories);

    struct Count {
        std::size_t memories = 0;    ///< that hold any of the words
        bool everyWordFound = true;  ///< else a search may add what it takes a word to mean
    };
    Count count(const std::string& typed) const;

  private:
    std::vector<SearchRecord> records_;
};

}  // namespace nookery::bench
