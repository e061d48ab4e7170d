// The sentence encoder: how well it tells related notes from unrelated ones, how its language gate
// judges, and how fast it is against the same network with textbook loops, in the same run.
//     embedding_bench [ASSET [DATA-FOLDER]]

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <unordered_map>

#include "backends/embedding/SentenceEncoder.h"
#include "backends/embedding/TextChunks.h"
#include "backends/embedding/Transformer.h"
#include "foundation/Text.h"

namespace nookery::encoder {

namespace {

using Vector = std::vector<float>;

struct Inputs {
    std::unique_ptr<FileSystem> files = makePosixFileSystem();
    Path asset;
    Path data;

    std::string text(const Path& path) const { return readWholeFile(*files, path, 64u << 20); }
    EncoderModel model() const { return readEncoderModel(text(asset)); }

    /// The lines of a data file, each cut at its tabs.
    std::vector<std::vector<std::string>> table(const char* name) const {
        std::vector<std::vector<std::string>> rows;
        const std::string content = text(data / name);
        for (const std::string_view line : splitLines(content)) {
            if (line.empty()) continue;
            const std::size_t tab = line.find('\t');
            rows.push_back({std::string(line.substr(0, tab))});
            if (tab != line.npos) rows.back().emplace_back(line.substr(tab + 1));
        }
        return rows;
    }
};

double cosine(const Vector& left, const Vector& right) {
    double sum = 0;
    for (std::size_t i = 0; i < left.size(); ++i) sum += double{left[i]} * right[i];
    return sum;
}

void printShares(std::string_view what, std::vector<double> cosines) {
    std::ranges::sort(cosines);
    const auto share = [&](double step) {
        const auto above = cosines.end() - std::ranges::lower_bound(cosines, step);
        return 100.0 * static_cast<double>(above) / static_cast<double>(cosines.size());
    };
    fmt::print("{:<38}{:>6}  {:5.1f} / {:5.1f} / {:5.1f} %   median {:.3f}\n", what, cosines.size(),
               share(0.24), share(0.32), share(0.46), cosines[cosines.size() / 2]);
}

struct Note {
    Vector memory;
    Vector query;
};

std::vector<Note> embeddedNotes(const Inputs& inputs, const TextEmbedder& embedder) {
    std::vector<Note> notes;
    for (const auto& row : inputs.table("personal-notes.tsv")) {
        const auto memory = embedder.embedMemory(row.at(0));
        const auto query = embedder.embedQuery(row.at(1));
        if (memory && query) notes.push_back({*memory, *query});
    }
    return notes;
}

void reportCalibration(const Inputs& inputs, const TextEmbedder& embedder) {
    const auto notes = embeddedNotes(inputs, embedder);
    std::vector<double> related;
    std::vector<double> unrelated;
    std::vector<double> noteToNote;
    double foundFirst = 0;
    double foundInTen = 0;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const double own = cosine(notes[i].query, notes[i].memory);
        related.push_back(own);
        std::size_t better = 0;
        for (std::size_t j = 0; j < notes.size(); ++j) {
            if (j == i) continue;
            const double other = cosine(notes[i].query, notes[j].memory);
            unrelated.push_back(other);
            better += other > own;
            noteToNote.push_back(cosine(notes[i].memory, notes[j].memory));
        }
        foundFirst += better == 0;
        foundInTen += better < 10;
    }
    const auto count = static_cast<double>(notes.size());
    fmt::print("{:<38}{:>6}  >= .24 /   .32 /   .46\n", "pairs", "count");
    printShares("a note and its paraphrase", related);
    printShares("a query and another note", unrelated);
    printShares("a note and another note", noteToNote);
    fmt::print("paraphrase finds its note: first {:.2f}, in the first ten {:.2f}\n\n",
               foundFirst / count, foundInTen / count);
}

void reportGate(const Inputs& inputs, const TextEmbedder& embedder) {
    std::map<std::string, std::pair<int, int>> kept;
    const auto judge = [&](const std::string& language, const std::string& text) {
        auto& [keptCount, count] = kept[language];
        keptCount += embedder.embedMemory(text).has_value();
        ++count;
    };
    for (const auto& row : inputs.table("other-languages.tsv")) judge(row.at(0), row.at(1));
    for (const auto& row : inputs.table("personal-notes.tsv")) judge("English notes", row.at(0));
    for (const auto& row : inputs.table("terse-notes.txt")) judge("English lists", row.at(0));
    for (const auto& [language, counts] : kept) {
        fmt::print("{}: {} of {} get a vector\n", language, counts.first, counts.second);
    }
    fmt::print("\n");
}

/// Textbook loops over float weights: what the encoder's own are measured against.
void textbookProduct(const RoundedRows& rows, const PackedMatrix& matrix, float* result) {
    static std::unordered_map<const std::int8_t*, Vector> unpacked;
    Vector& weights = unpacked[matrix.weights];
    if (weights.empty()) {
        weights.resize(matrix.rows * matrix.columns);
        for (std::size_t i = 0; i < weights.size(); ++i) {
            const std::size_t row = i / matrix.columns;
            const std::size_t column = i % matrix.columns;
            const std::size_t panel = column - column % panelColumns;
            const std::size_t place = panel * matrix.rows + (row - row % 2) * panelColumns +
                                      2 * (column % panelColumns) + row % 2;
            weights[i] = matrix.weights[place] * matrix.scales[column];
        }
    }
    for (std::size_t row = 0; row < rows.count; ++row) {
        float* out = result + row * matrix.columns;
        std::copy_n(matrix.bias, matrix.columns, out);
        for (std::size_t k = 0; k < matrix.rows; ++k) {
            const float activation = rows.values[row * rows.width + k] * rows.scales[row];
            const float* line = weights.data() + k * matrix.columns;
            for (std::size_t i = 0; i < matrix.columns; ++i) out[i] += activation * line[i];
        }
    }
}

template <typename Work>
double medianMilliseconds(const Work& work) {
    using Clock = std::chrono::steady_clock;
    std::vector<double> times;
    const auto start = Clock::now();
    while (times.size() < 15 || Clock::now() - start < std::chrono::seconds(1)) {
        const auto begin = Clock::now();
        work();
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
    }
    std::ranges::sort(times);
    return times[times.size() / 2];
}

void reportSpeed(const Inputs& inputs, const TextEmbedder& embedder) {
    const std::string note =
        "Booked the flights to Lisbon for the second week of May, window seats, and the hotel "
        "near the river as well.";
    std::string page;
    for (const auto& row : inputs.table("personal-notes.tsv")) page += row.at(0) + "\n";
    page.resize(3000);
    const std::string query = "airplane tickets Portugal";

    const EncoderModel model = inputs.model();
    const PieceTokenizer tokenizer(model.pieces);
    Kernels textbook = baselineKernels;
    textbook.product = textbookProduct;
    const Transformer fast(model);
    const Transformer baseline(model, baselineKernels);
    const Transformer peer(model, textbook);

    fmt::print("{:<22}{:>12}{:>12}{:>12}{:>12}{:>9}\n", "median ms, one core", "whole", "network",
               "SSE2 only", "textbook", "ratio");
    for (const auto& [name, text] :
         {std::pair("query", query), std::pair("note", note), std::pair("page", page)}) {
        const TextChunks chunks = chunksOf(prepared(text), tokenizer);
        const auto network = [&](const Transformer& transformer) {
            return medianMilliseconds([&] {
                for (const auto& chunk : chunks.chunks) transformer.encode(chunk);
            });
        };
        const double whole = medianMilliseconds([&] { embedder.embedMemory(text); });
        const double own = network(fast);
        const double plain = network(baseline);
        const double slow = network(peer);
        fmt::print("{:<22}{:>12.3f}{:>12.3f}{:>12.3f}{:>12.3f}{:>8.1f}x\n",
                   fmt::format("{}, {} characters", name, text.size()), whole, own, plain, slow,
                   slow / own);
    }
    fmt::print("load: {:.1f} ms\n",
               medianMilliseconds([&] { openSentenceEncoder(*inputs.files, inputs.asset); }));
}

}  // namespace

}  // namespace nookery::encoder

int main(int argumentCount, char** arguments) {
    using namespace nookery;
    encoder::Inputs inputs;
    inputs.asset = argumentCount > 1 ? arguments[1] : NOOKERY_SENTENCE_ENCODER;
    inputs.data = argumentCount > 2 ? arguments[2] : NOOKERY_BENCH_DATA;
    try {
        const auto embedder = openSentenceEncoder(*inputs.files, inputs.asset);
        encoder::reportCalibration(inputs, *embedder);
        encoder::reportGate(inputs, *embedder);
        encoder::reportSpeed(inputs, *embedder);
        return 0;
    } catch (const FileError& error) {
        fmt::print(stderr, "embedding_bench: nothing measured. {}\n", error.description());
        return error.isNotFound() ? 0 : 1;
    } catch (const std::exception& error) {
        fmt::print(stderr, "embedding_bench: {}\n", error.what());
        return 1;
    }
}
