#include "relevance/Meaning.h"

#include <fmt/format.h>

#include <cstdint>
#include <filesystem>
#include <fstream>

#include "backends/embedding/SentenceEncoder.h"
#include "foundation/Error.h"
#include "foundation/FileSystem.h"

namespace nookery::relevance {
namespace {

/// FNV-1a of all that the vectors depend on.
std::uint64_t fingerprint(const TextEmbedder& embedder, const Collection& collection) {
    std::uint64_t hash = 0xcbf29ce484222325ULL;
    const auto add = [&](const std::string& text) {
        for (const char byte : text)
            hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3ULL;
        hash *= 0x100000001b3ULL;
    };
    add(embedder.modelName());
    for (const Record& record : collection.records) add(embeddedText(record));
    return hash;
}

std::vector<Vector> readVectors(const std::string& path, std::size_t count, std::size_t dimension) {
    std::ifstream file(path, std::ios::binary);
    std::vector<Vector> vectors;
    for (std::size_t i = 0; i < count && file; ++i) {
        char isThere = 0;
        file.get(isThere);
        Vector vector(isThere != 0 ? dimension : 0);
        file.read(reinterpret_cast<char*>(vector.data()),
                  static_cast<std::streamsize>(vector.size() * sizeof(float)));
        vectors.push_back(std::move(vector));
    }
    if (!file) vectors.clear();
    return vectors;
}

void writeVectors(const std::string& path, const std::vector<Vector>& vectors) {
    std::ofstream file(path, std::ios::binary);
    for (const Vector& vector : vectors) {
        file.put(vector.empty() ? 0 : 1);
        file.write(reinterpret_cast<const char*>(vector.data()),
                   static_cast<std::streamsize>(vector.size() * sizeof(float)));
    }
    if (!file) throw Error("Cannot write " + path);
}

}  // namespace

std::unique_ptr<TextEmbedder> openEmbedder() {
    const auto files = makePosixFileSystem();
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    const auto asset = sentenceEncoderAsset(program.parent_path());
    if (!std::filesystem::exists(asset)) return nullptr;
    return openSentenceEncoder(*files, asset);
}

std::string embeddedText(const Record& record) {
    std::string text = record.title;
    for (const std::string* part : {&record.note, &record.text}) {
        if (!text.empty() && !part->empty()) text += '\n';
        text += *part;
    }
    return text;
}

std::vector<Vector> vectorsOf(const TextEmbedder& embedder, const Collection& collection,
                              const std::string& folder) {
    const std::string path = folder.empty() ? ""
                                            : fmt::format("{}/{:016x}.vectors", folder,
                                                          fingerprint(embedder, collection));
    if (!path.empty()) {
        auto kept = readVectors(path, collection.records.size(), embedder.dimension());
        if (!kept.empty()) return kept;
    }
    std::vector<Vector> vectors;
    vectors.reserve(collection.records.size());
    for (const Record& record : collection.records) {
        vectors.push_back(embedder.embedMemory(embeddedText(record)).value_or(Vector()));
    }
    if (!path.empty()) writeVectors(path, vectors);
    return vectors;
}

}  // namespace nookery::relevance
