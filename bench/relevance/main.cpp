// How well the ranking finds what is relevant:
//   relevance_bench [DIR] [--vectors FOLDER]
// DIR holds collections, a folder each (Collection.h tells the format); without it only the
// generated sets are measured. FOLDER keeps the records' vectors from one run to the next.
#include <fmt/format.h>

#include <cstdio>
#include <optional>
#include <string_view>

#include "foundation/Error.h"
#include "relevance/Collection.h"
#include "relevance/FullTextPeer.h"
#include "relevance/GeneratedSets.h"
#include "relevance/Meaning.h"
#include "relevance/Measures.h"

namespace nookery::relevance {
namespace {

constexpr unsigned seed = 20240229;
constexpr std::size_t damagedQuestionCount = 500;

void printHeader(const Collection& collection) {
    fmt::print("\n{}: {} records, {} questions\n", collection.name, collection.records.size(),
               collection.questions.size());
    fmt::print("  {:<44}{:>9}{:>11}{:>9}{:>9}\n", "", "nDCG@10", "recall@10", "MRR@10", "hit@10");
}

void printRow(const std::string& name, const Measures& measures) {
    fmt::print("  {:<44}{:>9.3f}{:>11.3f}{:>9.3f}{:>9.3f}\n", name, measures.ndcg, measures.recall,
               measures.reciprocalRank, measures.hit);
    std::fflush(stdout);
}

void measurePeer(const Collection& collection) {
    FullTextPeer peer(collection.records);
    printRow("peer: SQLite FTS5, porter, bm25 4,2,1,1",
             measured(collection, [&](const auto& question) { return peer.topTen(question); }));
}

void measure(const Collection& collection) {
    printHeader(collection);
    measurePeer(collection);
}

int run(std::optional<std::string> folder) {
    if (folder) {
        for (const Collection& collection : readCollections(*folder)) measure(collection);
    }
    const auto packages = packageDescriptions();
    measure(damagedWordSet(packages, damagedQuestionCount, seed));
    measure(paraphraseSet(NOOKERY_BENCH_DATA "/paraphrases.jsonl", {}));
    measure(paraphraseSet(NOOKERY_BENCH_DATA "/paraphrases.jsonl", packages));
    return 0;
}

}  // namespace
}  // namespace nookery::relevance

int main(int argumentCount, char** arguments) {
    std::optional<std::string> folder;
    if (argumentCount > 1) folder = arguments[1];
    try {
        return nookery::relevance::run(folder);
    } catch (const nookery::Error& error) {
        fmt::print(stderr, "relevance_bench: {}\n", error.description());
        return 1;
    }
}
