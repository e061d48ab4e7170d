#include "backends/embedding/EncoderModel.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "foundation/Text.h"

namespace nookery::encoder {

static_assert(std::endian::native == std::endian::little, "the asset is little-endian");

namespace {

constexpr auto shapes = tensorShapes();

/// Far above the model's largest values (4, and 30 among the scores), far below an overflow.
constexpr float largestValue = 100;

class ByteReader {
  public:
    explicit ByteReader(std::string_view bytes) : rest_(bytes) {}

    std::string_view take(std::size_t byteCount) {
        if (byteCount > rest_.size()) throw DamagedEncoder("it is cut short");
        const std::string_view taken = rest_.substr(0, byteCount);
        rest_.remove_prefix(byteCount);
        return taken;
    }

    template <typename Number>
    Number number() {
        Number value;
        std::memcpy(&value, take(sizeof value).data(), sizeof value);
        return value;
    }

    template <typename Number>
    std::vector<Number> numbers(std::size_t count) {
        const std::string_view bytes = take(count * sizeof(Number));
        std::vector<Number> values(count);
        std::ranges::copy(bytes, reinterpret_cast<char*>(values.data()));
        return values;
    }

    bool atEnd() const { return rest_.empty(); }

  private:
    std::string_view rest_;
};

class ByteWriter {
  public:
    void bytes(std::string_view text) { out_ += text; }

    template <typename Number>
    void number(Number value) {
        out_.append(reinterpret_cast<const char*>(&value), sizeof value);
    }

    template <typename Number>
    void numbers(const std::vector<Number>& values) {
        out_.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(Number));
    }

    std::string take() { return std::move(out_); }

  private:
    std::string out_;
};

void requireSmall(const std::vector<float>& values) {
    for (const float value : values) {
        // Written so that a NaN fails too.
        if (!(std::abs(value) <= largestValue)) throw DamagedEncoder("it holds an absurd number");
    }
}

Piece readPiece(ByteReader& reader) {
    const auto byteCount = reader.number<std::uint16_t>();
    Piece piece;
    piece.score = reader.number<float>();
    piece.text = reader.take(byteCount);
    if (piece.text.empty() || !isValidUtf8(piece.text)) throw DamagedEncoder("a word is not text");
    requireSmall({piece.score});
    return piece;
}

TensorValues readTensor(ByteReader& reader, const TensorShape& shape) {
    TensorShape found;
    found.kind = static_cast<TensorKind>(reader.number<std::uint8_t>());
    found.rows = reader.number<std::uint32_t>();
    found.columns = reader.number<std::uint32_t>();
    if (found != shape) throw DamagedEncoder("a tensor has another shape than the model's");

    TensorValues tensor;
    tensor.scales = reader.numbers<float>(shape.scaleCount());
    requireSmall(tensor.scales);
    if (shape.kind == TensorKind::vector) {
        tensor.values = reader.numbers<float>(shape.valueCount());
        requireSmall(tensor.values);
    } else {
        tensor.weights = reader.numbers<std::int8_t>(shape.valueCount());
    }
    return tensor;
}

}  // namespace

DamagedEncoder::DamagedEncoder(std::string_view what)
    : Error(fmt::format("The sentence encoder's file is damaged: {}. Build or install it again.",
                        what)) {}

EncoderModel readEncoderModel(std::string_view bytes) {
    ByteReader reader(bytes);
    if (reader.take(assetMagic.size()) != assetMagic) {
        throw DamagedEncoder("it is not a sentence encoder");
    }
    const auto version = reader.number<std::uint32_t>();
    if (version != assetVersion) {
        throw DamagedEncoder(fmt::format("its format is {}, not {}", version, assetVersion));
    }
    const auto pieceCount = reader.number<std::uint32_t>();
    if (pieceCount > embeddingCount) throw DamagedEncoder("it has more words than vectors");

    EncoderModel model;
    for (std::uint32_t i = 0; i < pieceCount; ++i) model.pieces.push_back(readPiece(reader));
    for (std::size_t i = 0; i < tensorCount; ++i) model.tensors[i] = readTensor(reader, shapes[i]);
    if (!reader.atEnd()) throw DamagedEncoder("it is longer than it should be");
    return model;
}

std::string writeEncoderModel(const EncoderModel& model) {
    ByteWriter writer;
    writer.bytes(assetMagic);
    writer.number(assetVersion);
    writer.number(static_cast<std::uint32_t>(model.pieces.size()));
    for (const Piece& piece : model.pieces) {
        writer.number(static_cast<std::uint16_t>(piece.text.size()));
        writer.number(piece.score);
        writer.bytes(piece.text);
    }
    for (std::size_t i = 0; i < tensorCount; ++i) {
        const TensorValues& tensor = model.tensors[i];
        writer.number(static_cast<std::uint8_t>(shapes[i].kind));
        writer.number(shapes[i].rows);
        writer.number(shapes[i].columns);
        writer.numbers(tensor.scales);
        writer.numbers(tensor.values);
        writer.numbers(tensor.weights);
    }
    return writer.take();
}

}  // namespace nookery::encoder
