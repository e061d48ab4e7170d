#include "relevance/Collection.h"

#include <fmt/format.h>
#include <lzma.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <unordered_map>

#include "foundation/Error.h"
#include "foundation/Text.h"

namespace nookery::relevance {
namespace {

using Json = nlohmann::json;
using IndexByName = std::unordered_map<std::string, std::size_t>;

std::optional<std::string> readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

std::string decompressed(const std::string& packed, const std::string& path) {
    lzma_stream stream = LZMA_STREAM_INIT;
    if (lzma_stream_decoder(&stream, UINT64_MAX, 0) != LZMA_OK) throw Error("No xz decoder.");
    stream.next_in = reinterpret_cast<const std::uint8_t*>(packed.data());
    stream.avail_in = packed.size();
    std::string text;
    std::string buffer(1 << 16, '\0');
    lzma_ret state = LZMA_OK;
    while (state == LZMA_OK) {
        stream.next_out = reinterpret_cast<std::uint8_t*>(buffer.data());
        stream.avail_out = buffer.size();
        state = lzma_code(&stream, LZMA_FINISH);
        text.append(buffer, 0, buffer.size() - stream.avail_out);
    }
    lzma_end(&stream);
    if (state != LZMA_STREAM_END) throw Error(path + " is damaged: it does not unpack.");
    return text;
}

std::string contentsOf(const std::string& path) {
    if (auto text = readFile(path)) return *std::move(text);
    const auto packed = readFile(path + ".xz");
    if (!packed) throw Error(fmt::format("Neither {} nor {}.xz can be read.", path, path));
    return decompressed(*packed, path + ".xz");
}

Json parsedLine(const std::string& line, const std::string& path, std::size_t number) {
    auto object = Json::parse(line, nullptr, false);
    if (object.is_object()) return object;
    throw Error(fmt::format("Line {} of {} is not a JSON object.", number, path));
}

std::vector<Json> readObjects(const std::string& path) {
    std::vector<Json> objects;
    const auto lines = readLines(path);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        objects.push_back(parsedLine(lines[i], path, i + 1));
    }
    return objects;
}

IndexByName readRecords(const std::string& path, std::vector<Record>& records) {
    IndexByName indexes;
    for (const Json& object : readObjects(path)) {
        indexes.emplace(object.at("id").get<std::string>(), records.size());
        records.push_back({.title = object.value("title", ""),
                           .note = object.value("note", ""),
                           .text = object.value("text", ""),
                           .tags = object.value("tags", std::vector<std::string>())});
    }
    return indexes;
}

void readAnswers(const std::string& path, const IndexByName& records, const IndexByName& questions,
                 std::vector<Question>& result) {
    for (const std::string& line : readLines(path)) {
        std::istringstream fields(line);
        std::string question;
        std::string record;
        int relevance = 0;
        if (!(fields >> question >> record >> relevance)) {
            throw Error(fmt::format("{}: cannot read the line \"{}\".", path, line));
        }
        const auto at = questions.find(question);
        if (relevance > 0 && at != questions.end()) {
            result[at->second].relevant.insert(records.at(record));
        }
    }
}

}  // namespace

std::vector<std::string> readLines(const std::string& path) {
    const std::string text = contentsOf(path);
    std::vector<std::string> lines;
    for (const auto line : splitLines(text)) {
        if (!line.empty()) lines.emplace_back(line);
    }
    return lines;
}

Collection readCollection(const std::string& folder) {
    Collection collection{
        .name = std::filesystem::path(folder).filename(), .records = {}, .questions = {}};
    const auto records = readRecords(folder + "/docs.jsonl", collection.records);
    IndexByName questions;
    for (const Json& object : readObjects(folder + "/queries.jsonl")) {
        questions.emplace(object.at("id").get<std::string>(), collection.questions.size());
        collection.questions.push_back({object.at("text").get<std::string>(), {}});
    }
    readAnswers(folder + "/qrels.tsv", records, questions, collection.questions);
    std::erase_if(collection.questions, [](const Question& q) { return q.relevant.empty(); });
    return collection;
}

std::vector<Collection> readCollections(const std::string& folder) {
    std::vector<std::string> folders;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_directory()) folders.push_back(entry.path());
    }
    std::sort(folders.begin(), folders.end());
    std::vector<Collection> collections;
    for (const auto& path : folders) collections.push_back(readCollection(path));
    if (collections.empty()) throw Error(folder + " holds no collection.");
    return collections;
}

}  // namespace nookery::relevance
