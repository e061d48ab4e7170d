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

/// FNV-1a.
std::uint64_t keyOf(const std::string& text) {
    std::uint64_t hash = 0xcbf29ce484222325ULL;
    for (const char byte : text)
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3ULL;
    return hash;
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

Embeddings::Embeddings(const TextEmbedder& embedder, std::string folder) : embedder_(embedder) {
    if (folder.empty()) return;
    path_ = fmt::format("{}/{:016x}.vectors", folder, keyOf(embedder.modelName()));
    read();
}

/// The file repeats: key, number of values, values.
void Embeddings::read() {
    std::ifstream file(path_, std::ios::binary);
    std::uint64_t key = 0;
    std::uint64_t count = 0;
    while (file.read(reinterpret_cast<char*>(&key), sizeof key) &&
           file.read(reinterpret_cast<char*>(&count), sizeof count) &&
           count <= embedder_.dimension()) {
        Vector vector(count);
        file.read(reinterpret_cast<char*>(vector.data()),
                  static_cast<std::streamsize>(count * sizeof(float)));
        if (file) vectors_.emplace(key, std::move(vector));
    }
}

void Embeddings::append(std::uint64_t key, const Vector& vector) {
    std::ofstream file(path_, std::ios::binary | std::ios::app);
    const std::uint64_t count = vector.size();
    file.write(reinterpret_cast<const char*>(&key), sizeof key);
    file.write(reinterpret_cast<const char*>(&count), sizeof count);
    file.write(reinterpret_cast<const char*>(vector.data()),
               static_cast<std::streamsize>(count * sizeof(float)));
    if (!file) throw Error("Cannot write " + path_);
}

std::vector<Vector> Embeddings::of(const std::vector<Record>& records) {
    std::vector<Vector> result;
    result.reserve(records.size());
    for (const Record& record : records) {
        const std::string text = embeddedText(record);
        const auto [entry, isNew] = vectors_.try_emplace(keyOf(text));
        if (isNew) {
            entry->second = embedder_.embedMemory(text).value_or(Vector());
            if (!path_.empty()) append(entry->first, entry->second);
        }
        result.push_back(entry->second);
    }
    return result;
}

MeaningOnly::MeaningOnly(const TextEmbedder& embedder, const std::vector<Vector>& vectors)
    : embedder_(embedder) {
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        CrumbItem item;
        item.id = idOfRecord(i);
        matrix_.set(std::make_shared<const CrumbItem>(item),
                    std::vector<double>(vectors[i].begin(), vectors[i].end()));
    }
}

std::vector<std::size_t> MeaningOnly::topTen(const std::string& question) const {
    std::vector<std::size_t> ranking;
    const auto query = embedder_.embedQuery(question);
    if (!query) return ranking;
    for (const auto& match : matrix_.view().mostSimilar(*query, -1, 10, {})) {
        ranking.push_back(recordOfId(match.item->id));
    }
    return ranking;
}

}  // namespace nookery::relevance
