#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The sentence encoder's asset as docs/formats/sentence-encoder.md describes it: what its reader
/// (EncoderModel) and its writer (tools/convert-encoder) have to agree on.
namespace nookery::encoder {

inline constexpr std::string_view assetMagic = "USEL";
inline constexpr std::uint32_t assetVersion = 1;
inline constexpr std::size_t maximumAssetByteCount = 16u << 20;

inline constexpr std::uint32_t embeddingCount = 8002;
inline constexpr std::uint32_t embeddingWidth = 256;
inline constexpr std::uint32_t width = 512;
inline constexpr std::uint32_t hiddenWidth = 1536;
inline constexpr std::uint32_t headCount = 4;
inline constexpr std::size_t layerCount = 2;
/// Positions of a text that the model tells apart; no chunk may be longer.
inline constexpr std::size_t maximumPieceCount = 128;
/// Of layer 0: queries, keys and values are as wide as the embeddings there.
inline constexpr std::array<std::uint32_t, layerCount> attentionWidth = {256, 512};

enum class TensorKind : std::uint8_t {
    vector = 0,         ///< float32 values, one row
    scaledRows = 1,     ///< int8 weights, one float32 scale a row
    scaledColumns = 2,  ///< int8 weights, one float32 scale a column
};

/// Places of the tensors in the asset. A layer's own twelve follow one another.
enum Tensor : std::size_t {
    pieceEmbeddings,
    timescales,
    residualWeights,
    residualBias,
    firstLayer,
    meaningWeights = firstLayer + layerCount * 12,
    meaningBias,
    meanVector,
    tensorCount
};

enum LayerTensor : std::size_t {
    attentionNormScale,
    attentionNormBias,
    queryKeyValueWeights,
    queryKeyValueBias,
    attentionOutputWeights,
    attentionOutputBias,
    feedForwardNormScale,
    feedForwardNormBias,
    expandWeights,
    expandBias,
    contractWeights,
    contractBias,
    layerTensorCount
};
static_assert(layerTensorCount == 12);

constexpr std::size_t tensorOfLayer(std::size_t layer, LayerTensor tensor) {
    return firstLayer + layer * layerTensorCount + tensor;
}

struct TensorShape {
    TensorKind kind = TensorKind::vector;
    std::uint32_t rows = 1;  ///< of a matrix: what goes in
    std::uint32_t columns = 0;

    constexpr std::size_t valueCount() const { return std::size_t{rows} * columns; }
    constexpr std::size_t scaleCount() const {
        if (kind == TensorKind::vector) return 0;
        return kind == TensorKind::scaledRows ? rows : columns;
    }
    bool operator==(const TensorShape&) const = default;
};

/// The one shape that each tensor may have.
constexpr std::array<TensorShape, tensorCount> tensorShapes() {
    constexpr auto vector = [](std::uint32_t columns) {
        return TensorShape{TensorKind::vector, 1, columns};
    };
    constexpr auto matrix = [](std::uint32_t rows, std::uint32_t columns) {
        return TensorShape{TensorKind::scaledColumns, rows, columns};
    };
    std::array<TensorShape, tensorCount> shapes{};
    shapes[pieceEmbeddings] = {TensorKind::scaledRows, embeddingCount, embeddingWidth};
    shapes[timescales] = vector(embeddingWidth / 2);
    shapes[residualWeights] = matrix(embeddingWidth, width);
    shapes[residualBias] = vector(width);
    for (std::size_t layer = 0; layer < layerCount; ++layer) {
        const std::uint32_t inner = attentionWidth[layer];
        const auto shape = [&](LayerTensor tensor) -> TensorShape& {
            return shapes[tensorOfLayer(layer, tensor)];
        };
        shape(attentionNormScale) = shape(attentionNormBias) = vector(inner);
        shape(queryKeyValueWeights) = matrix(inner, 3 * inner);
        shape(queryKeyValueBias) = vector(3 * inner);
        shape(attentionOutputWeights) = matrix(inner, width);
        shape(attentionOutputBias) = vector(width);
        shape(feedForwardNormScale) = shape(feedForwardNormBias) = vector(width);
        shape(expandWeights) = matrix(width, hiddenWidth);
        shape(expandBias) = vector(hiddenWidth);
        shape(contractWeights) = matrix(hiddenWidth, width);
        shape(contractBias) = vector(width);
    }
    shapes[meaningWeights] = matrix(width, width);
    shapes[meaningBias] = vector(width);
    shapes[meanVector] = vector(width);
    return shapes;
}

}  // namespace nookery::encoder
