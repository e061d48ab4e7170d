// How well the ranking finds what is relevant:
//   relevance_bench [DIR] [--vectors FOLDER]
// DIR holds collections, a folder each (Collection.h tells the format); without it only the
// generated sets are measured. FOLDER keeps the vectors from one run to the next.
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
#include "relevance/Variants.h"

namespace nookery::relevance {
namespace {

constexpr unsigned seed = 20240229;
constexpr std::size_t damagedQuestionCount = 500;

struct Options {
    std::string folder;
    std::string vectorFolder;
};

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

void measureMeaning(const Collection& collection, const TextEmbedder& embedder,
                    const std::vector<Vector>& vectors) {
    const MeaningOnly meaning(embedder, vectors);
    printRow("meaning alone",
             measured(collection, [&](const auto& question) { return meaning.topTen(question); }));
}

class Benchmark {
  public:
    explicit Benchmark(const Options& options) : options_(options), embedder_(openEmbedder()) {
        if (embedder_) embeddings_.emplace(*embedder_, options.vectorFolder);
    }

    void run() {
        if (!embedder_) fmt::print("The sentence encoder is not there: nothing by meaning.\n");
        if (!options_.folder.empty()) {
            for (const Collection& collection : readCollections(options_.folder)) {
                measure(collection);
            }
        }
        const auto packages = packageDescriptions();
        measure(damagedWordSet(packages, damagedQuestionCount, seed));
        measure(paraphraseSet(NOOKERY_BENCH_DATA "/paraphrases.jsonl", {}));
        measure(paraphraseSet(NOOKERY_BENCH_DATA "/paraphrases.jsonl", packages));
    }

  private:
    void measure(const Collection& collection) {
        printHeader(collection);
        measurePeer(collection);
        std::vector<Vector> vectors;
        if (embedder_) {
            vectors = embeddings_->of(collection.records);
            measureMeaning(collection, *embedder_, vectors);
        }
        for (const Variant& variant : variants()) {
            if (variant.stage == Stage::meaning && !embedder_) continue;
            const ProgramRanking program(collection, variant, embedder_.get(), vectors);
            printRow(variant.name, measured(collection, [&](const auto& question) {
                         return program.topTen(question);
                     }));
        }
    }

    Options options_;
    std::unique_ptr<TextEmbedder> embedder_;
    std::optional<Embeddings> embeddings_;
};

}  // namespace
}  // namespace nookery::relevance

int main(int argumentCount, char** arguments) {
    using namespace nookery::relevance;
    Options options;
    for (int i = 1; i < argumentCount; ++i) {
        const std::string_view argument = arguments[i];
        const bool isVectorFolder = argument == "--vectors" && i + 1 < argumentCount;
        (isVectorFolder ? options.vectorFolder : options.folder) =
            arguments[isVectorFolder ? ++i : i];
    }
    try {
        Benchmark(options).run();
        return 0;
    } catch (const nookery::Error& error) {
        fmt::print(stderr, "relevance_bench: {}\n", error.description());
        return 1;
    }
}
