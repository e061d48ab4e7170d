// Turns the published sentence encoder into the one small file that the program reads:
//     convert-encoder FOLDER MEAN-VECTOR ASSET
// FOLDER holds model.json, its weights and vocab.json; MEAN-VECTOR is 512 float32 values. The same
// input always gives the same bytes.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "PublishedModel.h"
#include "foundation/DurableFile.h"

namespace nookery::encoder {

namespace {

/// What the graph calls each tensor, in the asset's order; the mean vector is ours. What was folded
/// when the graph was published has another prefix than what was a variable.
std::array<std::string, tensorCount> publishedNames() {
    const std::string_view variable = "module/Encoder_en";
    const std::string_view constant = "module_apply_default/Encoder_en/KonaTransformer/Encode";
    const std::string_view whole = "ConcatPartitions/concat";
    std::array<std::string, tensorCount> names;
    names[pieceEmbeddings] = "module/Embeddings_en";
    names[timescales] = fmt::format(
        "{}/TransformerStack/Layer_0/AddTimingSignal/TimingSignal/ExpandDims_1", constant);
    const std::string residual = fmt::format("{}/Layer_0/TransformerLayer/dense", constant);
    names[residualWeights] = fmt::format("{}/kernel/{}", residual, whole);
    names[residualBias] = fmt::format("{}/bias/{}", residual, whole);
    for (std::size_t layer = 0; layer < layerCount; ++layer) {
        const std::string place = fmt::format("Layer_{}/TransformerLayer", layer);
        const auto kernel = [&](std::string_view part) {
            return fmt::format("{}/KonaTransformer/Encode/{}/MultiheadAttention/{}/kernel/part_0",
                               variable, place, part);
        };
        const auto folded = [&](std::string_view part) {
            return fmt::format("{}/TransformerStack/{}/FFN/{}/Tensordot/Reshape_1", constant, place,
                               part);
        };
        const auto vector = [&](std::string_view part) {
            return fmt::format("{}/{}/{}/{}", constant, place, part, whole);
        };
        const auto name = [&](LayerTensor tensor) -> std::string& {
            return names[tensorOfLayer(layer, tensor)];
        };
        name(attentionNormScale) = vector("layer_prepostprocess/layer_norm/layer_norm_scale");
        name(attentionNormBias) = vector("layer_prepostprocess/layer_norm/layer_norm_bias");
        name(queryKeyValueWeights) = kernel("qkv_transform_single");
        name(queryKeyValueBias) = vector("MultiheadAttention/qkv_transform_single/bias");
        name(attentionOutputWeights) = kernel("output_transform_single");
        name(attentionOutputBias) = vector("MultiheadAttention/output_transform_single/bias");
        name(feedForwardNormScale) = vector("FFN/layer_prepostprocess/layer_norm/layer_norm_scale");
        name(feedForwardNormBias) = vector("FFN/layer_prepostprocess/layer_norm/layer_norm_bias");
        name(expandWeights) = folded("conv1");
        name(expandBias) = vector("FFN/conv1/bias");
        name(contractWeights) = folded("conv2");
        name(contractBias) = vector("FFN/conv2/bias");
    }
    names[meaningWeights] = fmt::format("{}/hidden_layers/tanh_layer_0/weights", variable);
    names[meaningBias] = fmt::format("{}/hidden_layers/tanh_layer_0/bias", variable);
    return names;
}

/// Each row or column divided by its own largest value and rounded to -127..127.
TensorValues quantised(const std::vector<float>& values, const TensorShape& shape) {
    const bool byRow = shape.kind == TensorKind::scaledRows;
    const auto scaleOf = [&](std::size_t i) {
        return byRow ? i / shape.columns : i % shape.columns;
    };
    std::vector<float> largest(shape.scaleCount(), 0);
    for (std::size_t i = 0; i < values.size(); ++i) {
        largest[scaleOf(i)] = std::max(largest[scaleOf(i)], std::abs(values[i]));
    }
    TensorValues tensor;
    for (const float value : largest) tensor.scales.push_back(value / 127);
    tensor.weights.resize(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const float scale = tensor.scales[scaleOf(i)];
        tensor.weights[i] =
            scale > 0 ? static_cast<std::int8_t>(std::lround(values[i] / scale)) : std::int8_t{0};
    }
    return tensor;
}

TensorValues meanVectorFrom(FileSystem& files, const Path& path) {
    const std::string bytes = readWholeFile(files, path, 1u << 20);
    TensorValues tensor;
    tensor.values.resize(width);
    if (bytes.size() != width * sizeof(float)) throw Error("The mean vector has another length.");
    std::memcpy(tensor.values.data(), bytes.data(), bytes.size());
    return tensor;
}

EncoderModel converted(const PublishedModel& published, TensorValues mean) {
    constexpr auto shapes = tensorShapes();
    const auto names = publishedNames();
    EncoderModel model;
    model.pieces = published.pieces();
    for (std::size_t i = 0; i < meanVector; ++i) {
        auto values = published.tensor(names[i], shapes[i].valueCount());
        if (shapes[i].kind == TensorKind::vector) {
            model.tensors[i].values = std::move(values);
        } else {
            model.tensors[i] = quantised(values, shapes[i]);
        }
    }
    model.tensors[meanVector] = std::move(mean);
    return model;
}

void convert(const Path& folder, const Path& meanFile, const Path& asset) {
    const auto files = makePosixFileSystem();
    const PublishedModel published(*files, folder);
    const auto bytes = writeEncoderModel(converted(published, meanVectorFrom(*files, meanFile)));
    // What is written is read once before it may be shipped.
    readEncoderModel(bytes);
    writeDurably(*files, asset, bytes);
}

}  // namespace

}  // namespace nookery::encoder

int main(int argumentCount, char** arguments) {
    if (argumentCount != 4) {
        std::fprintf(stderr, "usage: convert-encoder FOLDER MEAN-VECTOR ASSET\n");
        return 2;
    }
    try {
        nookery::encoder::convert(arguments[1], arguments[2], arguments[3]);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "convert-encoder: %s\n", error.what());
        return 1;
    }
}
