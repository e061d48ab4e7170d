// Turns the published sentence encoder into the one small file that the program reads:
//     convert-encoder FOLDER MEAN-VECTOR ASSET
// FOLDER holds model.json, its weights and vocab.json; MEAN-VECTOR is 512 float32 values. The same
// input always gives the same bytes.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "PublishedModel.h"
#include "foundation/DurableFile.h"

namespace nookery::encoder {

namespace {

/// What the graph calls each tensor, in the asset's order; the mean vector is ours.
std::array<std::string, tensorCount> publishedNames() {
    const std::string inner = "module/Encoder_en/";
    const std::string outer = "module_apply_default/Encoder_en/KonaTransformer/Encode/";
    std::array<std::string, tensorCount> names;
    names[pieceEmbeddings] = "module/Embeddings_en";
    names[timescales] =
        outer + "TransformerStack/Layer_0/AddTimingSignal/TimingSignal/ExpandDims_1";
    const std::string residual = outer + "Layer_0/TransformerLayer/dense/";
    names[residualWeights] = residual + "kernel/ConcatPartitions/concat";
    names[residualBias] = residual + "bias/ConcatPartitions/concat";
    for (std::size_t layer = 0; layer < layerCount; ++layer) {
        const std::string place = "Layer_" + std::to_string(layer) + "/TransformerLayer/";
        const std::string plain = outer + place;
        const std::string folded = outer + "TransformerStack/" + place + "FFN/";
        const std::string attention =
            inner + "KonaTransformer/Encode/" + place + "MultiheadAttention/";
        const auto name = [&](LayerTensor tensor) -> std::string& {
            return names[tensorOfLayer(layer, tensor)];
        };
        const std::string norm = "layer_prepostprocess/layer_norm/layer_norm_";
        const std::string whole = "/ConcatPartitions/concat";
        name(attentionNormScale) = plain + norm + "scale" + whole;
        name(attentionNormBias) = plain + norm + "bias" + whole;
        name(queryKeyValueWeights) = attention + "qkv_transform_single/kernel/part_0";
        name(queryKeyValueBias) = plain + "MultiheadAttention/qkv_transform_single/bias" + whole;
        name(attentionOutputWeights) = attention + "output_transform_single/kernel/part_0";
        name(attentionOutputBias) =
            plain + "MultiheadAttention/output_transform_single/bias" + whole;
        name(feedForwardNormScale) = plain + "FFN/" + norm + "scale" + whole;
        name(feedForwardNormBias) = plain + "FFN/" + norm + "bias" + whole;
        name(expandWeights) = folded + "conv1/Tensordot/Reshape_1";
        name(expandBias) = plain + "FFN/conv1/bias" + whole;
        name(contractWeights) = folded + "conv2/Tensordot/Reshape_1";
        name(contractBias) = plain + "FFN/conv2/bias" + whole;
    }
    names[meaningWeights] = inner + "hidden_layers/tanh_layer_0/weights";
    names[meaningBias] = inner + "hidden_layers/tanh_layer_0/bias";
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
    for (const float value : largest)
        tensor.scales.push_back(value / 127);
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
