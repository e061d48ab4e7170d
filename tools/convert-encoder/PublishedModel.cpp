#include "PublishedModel.h"

#include <fmt/format.h>

#include <cstring>

#include "foundation/Json.h"

namespace nookery::encoder {

namespace {

constexpr std::size_t maximumFileByteCount = 64u << 20;

Json readJson(FileSystem& files, const Path& path) {
    return parseJson(readWholeFile(files, path, maximumFileByteCount));
}

}  // namespace

PublishedModel::PublishedModel(FileSystem& files, const Path& folder) {
    readWeights(files, folder);
    readPieces(files, folder);
}

void PublishedModel::readWeights(FileSystem& files, const Path& folder) {
    const Json model = readJson(files, folder / "model.json");
    std::size_t offset = 0;
    for (const Json& group : model.at("weightsManifest")) {
        for (const Json& path : group.at("paths")) {
            weights_ +=
                readWholeFile(files, folder / path.get<std::string>(), maximumFileByteCount);
        }
        // Tensors follow one another without a gap; every value takes four bytes.
        for (const Json& weight : group.at("weights")) {
            std::size_t byteCount = 4;
            for (const Json& side : weight.at("shape")) byteCount *= side.get<std::size_t>();
            places_[requiredString(weight, "name")] = {offset, byteCount};
            offset += byteCount;
        }
    }
    if (offset != weights_.size()) {
        throw Error(fmt::format("The weights take {} bytes, but model.json speaks of {}.",
                                weights_.size(), offset));
    }
}

void PublishedModel::readPieces(FileSystem& files, const Path& folder) {
    for (const Json& entry : readJson(files, folder / "vocab.json")) {
        // A few smileys have no score; the model's makers count that as zero.
        const Json& score = entry.at(1);
        pieces_.push_back(
            {entry.at(0).get<std::string>(), score.is_null() ? 0.0f : score.get<float>()});
    }
}

std::vector<float> PublishedModel::tensor(const std::string& name, std::size_t valueCount) const {
    const auto place = places_.find(name);
    if (place == places_.end()) throw Error(fmt::format("The model has no tensor {}.", name));
    std::vector<float> values(valueCount);
    if (place->second.byteCount != valueCount * sizeof(float)) {
        throw Error(fmt::format("The tensor {} has {} bytes, not {}.", name,
                                place->second.byteCount, valueCount * sizeof(float)));
    }
    std::memcpy(values.data(), weights_.data() + place->second.offset, place->second.byteCount);
    return values;
}

}  // namespace nookery::encoder
