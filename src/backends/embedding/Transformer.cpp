#include "backends/embedding/Transformer.h"

#include <algorithm>
#include <cmath>

namespace nookery::encoder {

namespace {

constexpr auto shapes = tensorShapes();

std::vector<std::int8_t> inPanels(const std::vector<std::int8_t>& weights,
                                  const TensorShape& shape) {
    std::vector<std::int8_t> packed;
    packed.reserve(weights.size());
    for (std::size_t panel = 0; panel < shape.columns; panel += panelColumns) {
        for (std::size_t row = 0; row < shape.rows; row += 2) {
            for (std::size_t column = panel; column < panel + panelColumns; ++column) {
                packed.push_back(weights[row * shape.columns + column]);
                packed.push_back(weights[(row + 1) * shape.columns + column]);
            }
        }
    }
    return packed;
}

// The C library's functions are written anew for some processors, and may differ in the last bit.
// These use additions, multiplications and divisions only, which are the same everywhere.

/// e to this power, by halving the power until its series is short.
double exponential(double power) {
    constexpr int halvings = 12;
    const double part = power / (1 << halvings);
    double result = 1 + part * (1 + part / 2 * (1 + part / 3 * (1 + part / 4)));
    for (int i = 0; i < halvings; ++i) result *= result;
    return result;
}

double hyperbolicTangent(double value) {
    constexpr double saturated = 20;  // beyond, it is 1 to the last bit
    if (value > saturated) return 1;
    if (value < -saturated) return -1;
    return 1 - 2 / (exponential(2 * value) + 1);
}

struct SineAndCosine {
    double sine;
    double cosine;
};

/// For a place in a text times a scale: from 0 to a few hundred.
SineAndCosine sineAndCosine(double angle) {
    constexpr double quarterTurn = 1.5707963267948966;
    const auto quarters = static_cast<long>(angle / quarterTurn + 0.5);
    const double rest = angle - static_cast<double>(quarters) * quarterTurn;
    const double square = rest * rest;
    double sine = 1;
    double cosine = 1;
    for (int i = 8; i >= 1; --i) {
        sine = 1 - square / ((2 * i) * (2 * i + 1)) * sine;
        cosine = 1 - square / ((2 * i - 1) * (2 * i)) * cosine;
    }
    sine *= rest;
    switch (quarters % 4) {
        case 0:
            return {sine, cosine};
        case 1:
            return {cosine, -sine};
        case 2:
            return {-sine, -cosine};
        default:
            return {-cosine, sine};
    }
}

/// Sines, then cosines, of the place at wavelengths from short to long.
std::vector<float> positionSignals(const std::vector<float>& timescales) {
    std::vector<float> signals;
    signals.reserve(maximumPieceCount * embeddingWidth);
    for (std::size_t place = 0; place < maximumPieceCount; ++place) {
        const auto angle = [place](float scale) {
            return sineAndCosine(static_cast<double>(static_cast<float>(place) * scale));
        };
        for (const float scale : timescales) {
            signals.push_back(static_cast<float>(angle(scale).sine));
        }
        for (const float scale : timescales) {
            signals.push_back(static_cast<float>(angle(scale).cosine));
        }
    }
    return signals;
}

void addTo(std::vector<float>& sum, const std::vector<float>& summand) {
    for (std::size_t i = 0; i < sum.size(); ++i) sum[i] += summand[i];
}

std::vector<float> meanOfRows(const std::vector<float>& rows, std::size_t rowWidth) {
    std::vector<float> mean(rowWidth, 0);
    for (std::size_t i = 0; i < rows.size(); ++i) mean[i % rowWidth] += rows[i];
    const std::size_t count = rows.size() / rowWidth;
    for (float& value : mean) value /= static_cast<float>(count);
    return mean;
}

}  // namespace

Transformer::Transformer(const EncoderModel& model, const Kernels& kernels)
    : kernels_(kernels),
      embeddings_(model.tensors[pieceEmbeddings]),
      positions_(positionSignals(model.tensors[timescales].values)),
      residual_(linearFrom(model, residualWeights, residualBias)),
      meaning_(linearFrom(model, meaningWeights, meaningBias)) {
    for (std::size_t i = 0; i < layerCount; ++i) layers_[i] = layerFrom(model, i);
}

Transformer::Linear Transformer::linearFrom(const EncoderModel& model, std::size_t weights,
                                            std::size_t bias) {
    const TensorShape& shape = shapes[weights];
    const TensorValues& tensor = model.tensors[weights];
    return {shape.rows, shape.columns, inPanels(tensor.weights, shape), tensor.scales,
            model.tensors[bias].values};
}

Transformer::Layer Transformer::layerFrom(const EncoderModel& model, std::size_t layer) {
    const auto norm = [&](LayerTensor scale, LayerTensor bias) -> Norm {
        return {model.tensors[tensorOfLayer(layer, scale)].values,
                model.tensors[tensorOfLayer(layer, bias)].values};
    };
    const auto linear = [&](LayerTensor weights, LayerTensor bias) {
        return linearFrom(model, tensorOfLayer(layer, weights), tensorOfLayer(layer, bias));
    };
    return {norm(attentionNormScale, attentionNormBias),
            linear(queryKeyValueWeights, queryKeyValueBias),
            linear(attentionOutputWeights, attentionOutputBias),
            norm(feedForwardNormScale, feedForwardNormBias),
            linear(expandWeights, expandBias),
            linear(contractWeights, contractBias)};
}

std::vector<float> Transformer::encode(std::span<const PieceId> pieces) const {
    std::vector<float> rows = embedded(pieces);
    for (const Layer& layer : layers_) {
        std::vector<float> residual = &layer == &layers_.front() ? applied(residual_, rows) : rows;
        rows = attended(layer, rows);
        addTo(rows, residual);
        addFeedForward(layer, rows);
    }
    std::vector<float> meaning = applied(meaning_, meanOfRows(rows, width));
    float squares = 0;
    for (float& value : meaning) {
        value = static_cast<float>(hyperbolicTangent(value));
        squares += value * value;
    }
    const float length = std::sqrt(squares);
    if (length > 0) {
        for (float& value : meaning) value /= length;
    }
    return meaning;
}

std::vector<float> Transformer::embedded(std::span<const PieceId> pieces) const {
    std::vector<float> rows(
        positions_.begin(),
        positions_.begin() + static_cast<std::ptrdiff_t>(pieces.size() * embeddingWidth));
    for (std::size_t place = 0; place < pieces.size(); ++place) {
        const std::int8_t* weights = embeddings_.weights.data() + pieces[place] * embeddingWidth;
        // The published graph adds the embedding twice.
        const float scale = 2 * embeddings_.scales[pieces[place]];
        float* row = rows.data() + place * embeddingWidth;
        for (std::size_t i = 0; i < embeddingWidth; ++i) row[i] += scale * weights[i];
    }
    return rows;
}

std::vector<float> Transformer::applied(const Linear& linear,
                                        const std::vector<float>& rows) const {
    const std::size_t count = rows.size() / linear.rows;
    std::vector<std::int16_t> values(rows.size());
    std::vector<float> scales(count);
    const RoundedRows rounded{count, linear.rows, values.data(), scales.data()};
    kernels_.round(rows.data(), rounded);
    std::vector<float> result(count * linear.columns);
    kernels_.product(rounded, linear.packed(), result.data());
    return result;
}

std::vector<float> Transformer::normalised(const Norm& norm, const std::vector<float>& rows) const {
    std::vector<float> result(rows.size());
    kernels_.normalise(rows.data(), rows.size() / norm.scale.size(), norm.scale.size(),
                       norm.scale.data(), norm.bias.data(), result.data());
    return result;
}

std::vector<float> Transformer::attended(const Layer& layer, const std::vector<float>& rows) const {
    const std::size_t inner = layer.queryKeyValue.rows;
    const std::size_t count = rows.size() / inner;
    const auto mixed = applied(layer.queryKeyValue, normalised(layer.attentionNorm, rows));
    std::vector<float> scratch(count);
    std::vector<float> result(count * inner);
    kernels_.attend(mixed.data(), count, inner, headCount, scratch.data(), result.data());
    return applied(layer.attentionOutput, result);
}

void Transformer::addFeedForward(const Layer& layer, std::vector<float>& rows) const {
    auto hidden = applied(layer.expand, normalised(layer.feedForwardNorm, rows));
    for (float& value : hidden) value = std::max(value, 0.0f);
    addTo(rows, applied(layer.contract, hidden));
}

}  // namespace nookery::encoder
