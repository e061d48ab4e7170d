#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/TextEmbedder.h"
#include "relevance/Collection.h"
#include "relevance/Memories.h"
#include "retrieval/deep/VectorMatrix.h"

namespace nookery::relevance {

using Vector = std::vector<float>;

/// The embedder beside this program; none when the set-up could not make its asset.
std::unique_ptr<TextEmbedder> openEmbedder();

/// What is embedded of a record: title, note and text.
std::string embeddedText(const Record& record);

/// The vectors of records, each text embedded once. 64,000 short texts take minutes; when `folder`
/// is not empty they are kept there for the next run.
class Embeddings {
  public:
    /// Keeps a reference to the embedder. What was kept by another model is not read.
    Embeddings(const TextEmbedder& embedder, std::string folder);

    /// Empty for a record that has none.
    std::vector<Vector> of(const std::vector<Record>& records);

  private:
    void read();
    void append(std::uint64_t key, const Vector& vector);

    const TextEmbedder& embedder_;
    std::string path_;
    std::unordered_map<std::uint64_t, Vector> vectors_;
};

/// Ranks by the cosine with the question, and by nothing else.
class MeaningOnly {
  public:
    /// Keeps a reference to the embedder.
    MeaningOnly(const TextEmbedder& embedder, const std::vector<Vector>& vectors);

    std::vector<std::size_t> topTen(const std::string& question) const;

  private:
    const TextEmbedder& embedder_;
    VectorMatrix matrix_;
};

}  // namespace nookery::relevance
