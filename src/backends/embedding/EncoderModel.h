#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "backends/embedding/EncoderFormat.h"
#include "foundation/Error.h"

namespace nookery::encoder {

/// The asset is cut short, of another format, or holds values that no converter writes.
class DamagedEncoder : public Error {
  public:
    explicit DamagedEncoder(std::string_view what);
};

struct Piece {
    std::string text;  ///< UTF-8, "▁" for a space; never empty
    float score = 0;   ///< logarithm of its frequency
};

struct TensorValues {
    std::vector<float> values;         ///< of a vector
    std::vector<float> scales;         ///< of a matrix, as its kind says
    std::vector<std::int8_t> weights;  ///< of a matrix, row by row
};

/// The asset's content, checked: every tensor has its one shape, every number is finite and small
/// enough that no product of them overflows, every piece is UTF-8.
struct EncoderModel {
    std::vector<Piece> pieces;  ///< a piece's id is its place
    std::array<TensorValues, tensorCount> tensors;
};

/// Throws DamagedEncoder, also for hostile bytes.
EncoderModel readEncoderModel(std::string_view bytes);

/// The asset's bytes; what `readEncoderModel` reads back. Equal models give equal bytes.
std::string writeEncoderModel(const EncoderModel& model);

}  // namespace nookery::encoder
