#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace nookery::relevance {

struct Record {
    std::string title;
    std::string note;
    std::string text;
    std::vector<std::string> tags;
};

struct Question {
    std::string text;
    std::set<std::size_t> relevant;  ///< records that answer it; never empty
};

/// Records, questions, and which records answer which question.
struct Collection {
    std::string name;
    std::vector<Record> records;
    std::vector<Question> questions;
};

/// Reads a folder with docs.jsonl, queries.jsonl (each plain or with ".xz") and qrels.tsv
/// (question, record, relevance). Questions without an answer are left out. Throws Error naming
/// the file that is missing or damaged.
Collection readCollection(const std::string& folder);

/// The collections below a folder, by name.
std::vector<Collection> readCollections(const std::string& folder);

/// The lines of a file; of FILE.xz when FILE is not there. Throws Error.
std::vector<std::string> readLines(const std::string& path);

}  // namespace nookery::relevance
