#pragma once

#include <array>
#include <span>
#include <vector>

#include "backends/embedding/Kernels.h"
#include "backends/embedding/PieceTokenizer.h"

namespace nookery::encoder {

/// The network: pieces in, one vector of `width` out. Layers normalise before they compute; the
/// first one's residual goes through a matrix, because it widens 256 dimensions to 512. Constant
/// after construction; any thread.
class Transformer {
  public:
    /// Takes what it needs of the model and lays it out for the kernels.
    explicit Transformer(const EncoderModel& model, const Kernels& kernels = machineKernels());

    /// The meaning of 1 to `maximumPieceCount` pieces, each below `embeddingCount`: unit length.
    std::vector<float> encode(std::span<const PieceId> pieces) const;

  private:
    /// A matrix with its bias, as `product` wants it.
    struct Linear {
        std::size_t rows = 0;
        std::size_t columns = 0;
        std::vector<std::int8_t> weights;
        std::vector<float> scales;
        std::vector<float> bias;

        PackedMatrix packed() const {
            return {rows, columns, weights.data(), scales.data(), bias.data()};
        }
    };
    struct Norm {
        std::vector<float> scale;
        std::vector<float> bias;
    };
    struct Layer {
        Norm attentionNorm;
        Linear queryKeyValue;
        Linear attentionOutput;
        Norm feedForwardNorm;
        Linear expand;
        Linear contract;
    };
    static Linear linearFrom(const EncoderModel& model, std::size_t weights, std::size_t bias);
    static Layer layerFrom(const EncoderModel& model, std::size_t layer);

    std::vector<float> embedded(std::span<const PieceId> pieces) const;
    std::vector<float> applied(const Linear& linear, const std::vector<float>& rows) const;
    std::vector<float> normalised(const Norm& norm, const std::vector<float>& rows) const;
    std::vector<float> attended(const Layer& layer, const std::vector<float>& rows) const;
    void addFeedForward(const Layer& layer, std::vector<float>& rows) const;

    const Kernels& kernels_;
    TensorValues embeddings_;
    std::vector<float> positions_;  ///< what is added to the embedding, place by place
    Linear residual_;
    std::array<Layer, layerCount> layers_;
    Linear meaning_;
};

}  // namespace nookery::encoder
