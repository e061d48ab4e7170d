#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "backends/embedding/EncoderModel.h"
#include "foundation/FileSystem.h"

namespace nookery::encoder {

/// The sentence encoder as its package holds it: a graph in model.json, its float32 weights cut
/// into files, its pieces in vocab.json.
class PublishedModel {
  public:
    /// Reads `folder`, where the three lie. Throws FileError, JsonError, and Error when the weights
    /// and what model.json says of them do not fit.
    PublishedModel(FileSystem& files, const Path& folder);

    const std::vector<Piece>& pieces() const { return pieces_; }

    /// The values of one tensor, row by row. Throws Error when there is none of that name or it
    /// has another number of values.
    std::vector<float> tensor(const std::string& name, std::size_t valueCount) const;

  private:
    void readWeights(FileSystem& files, const Path& folder);
    void readPieces(FileSystem& files, const Path& folder);

    std::vector<Piece> pieces_;
    std::string weights_;
    struct Place {
        std::size_t offset = 0;
        std::size_t byteCount = 0;
    };
    std::unordered_map<std::string, Place> places_;
};

}  // namespace nookery::encoder
