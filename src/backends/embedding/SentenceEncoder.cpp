#include "backends/embedding/SentenceEncoder.h"

#include <cmath>
#include <mutex>

#include "backends/embedding/EnglishGate.h"
#include "backends/embedding/TextChunks.h"
#include "backends/embedding/Transformer.h"

namespace nookery {

namespace {

using namespace encoder;

/// The number changes with anything that moves the vectors: model, pieces, chunks, mean, gate.
constexpr const char* encoderName = "nookery-sentence-encoder-en-2";

/// A shorter vector has no meaningful direction.
constexpr float shortestVector = 1e-4f;

class SentenceEncoder : public TextEmbedder {
  public:
    explicit SentenceEncoder(const EncoderModel& model)
        : tokenizer_(model.pieces), transformer_(model), mean_(model.tensors[meanVector].values) {}

    std::string modelName() const override { return encoderName; }
    std::size_t dimension() const override { return width; }

    std::optional<std::vector<float>> embedMemory(std::string_view text) const override {
        const std::string plain = prepared(text);
        const TextChunks chunks = chunksOf(plain, tokenizer_);
        if (!mayBeEnglish(plain, chunks)) return std::nullopt;
        return embed(chunks);
    }

    std::optional<std::vector<float>> embedQuery(std::string_view text) const override {
        return embed(chunksOf(prepared(text), tokenizer_));
    }

  private:
    std::optional<std::vector<float>> embed(const TextChunks& text) const {
        std::vector<float> sum(width, 0);
        for (const auto& chunk : text.chunks) {
            const auto weight = static_cast<float>(chunk.size());
            const auto meaning = transformer_.encode(chunk);
            for (std::size_t i = 0; i < width; ++i) sum[i] += weight * meaning[i];
        }
        if (!scaleToUnitLength(sum)) return std::nullopt;
        for (std::size_t i = 0; i < width; ++i) sum[i] -= mean_[i];
        if (!scaleToUnitLength(sum)) return std::nullopt;
        return sum;
    }

    static bool scaleToUnitLength(std::vector<float>& vector) {
        double squares = 0;
        for (const float value : vector) squares += double{value} * value;
        const auto length = static_cast<float>(std::sqrt(squares));
        if (!(length > shortestVector)) return false;
        for (float& value : vector) value /= length;
        return true;
    }

    const PieceTokenizer tokenizer_;
    const Transformer transformer_;
    const std::vector<float> mean_;
};

class LazySentenceEncoder final : public TextEmbedder {
  public:
    LazySentenceEncoder(FileSystem& files, Path asset, Log& log)
        : files_(files), asset_(std::move(asset)), log_(log) {}

    std::string modelName() const override { return encoderName; }
    std::size_t dimension() const override { return width; }

    std::optional<std::vector<float>> embedMemory(std::string_view text) const override {
        demand();
        if (failure_) std::rethrow_exception(failure_);
        return encoder_->embedMemory(text);
    }

    std::optional<std::vector<float>> embedQuery(std::string_view text) const override {
        demand();
        if (failure_) return std::nullopt;
        return encoder_->embedQuery(text);
    }

  private:
    void demand() const {
        std::call_once(isDemanded_, [this] {
            try {
                encoder_ = openSentenceEncoder(files_, asset_);
            } catch (const std::exception& error) {
                log_.line("NOOKERY sentence encoder error: " + describe(error));
                failure_ = std::current_exception();
            }
        });
    }

    FileSystem& files_;
    Path asset_;
    Log& log_;
    mutable std::once_flag isDemanded_;
    mutable std::unique_ptr<TextEmbedder> encoder_;
    mutable std::exception_ptr failure_;
};

}  // namespace

std::unique_ptr<TextEmbedder> openSentenceEncoder(FileSystem& files, const Path& asset) {
    const std::string bytes = readWholeFile(files, asset, maximumAssetByteCount);
    return std::make_unique<SentenceEncoder>(readEncoderModel(bytes));
}

std::unique_ptr<TextEmbedder> makeSentenceEncoder(FileSystem& files, Path asset, Log& log) {
    return std::make_unique<LazySentenceEncoder>(files, std::move(asset), log);
}

Path sentenceEncoderAsset(const Path& programFolder) {
    return programFolder.parent_path() / "share" / "nookery" / "sentence-encoder.bin";
}

}  // namespace nookery
