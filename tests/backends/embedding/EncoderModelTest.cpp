#include <cstring>
#include <limits>

#include "EncoderFixture.h"
#include "support/TemporaryDirectory.h"

namespace nookery::testing {
namespace {

using namespace encoder;

class EncoderModelTest : public EncoderTest {
  protected:
    /// Where the tensors begin: after the head and the pieces.
    static std::size_t firstTensorOffset() {
        std::size_t offset = assetMagic.size() + 8;
        for (const Piece& piece : model().pieces) offset += 6 + piece.text.size();
        return offset;
    }

    template <typename Value>
    static std::string damaged(std::size_t offset, Value value) {
        std::string bytes = assetBytes();
        std::memcpy(bytes.data() + offset, &value, sizeof value);
        return bytes;
    }
};

TEST_F(EncoderModelTest, ReadsBackWhatItWrites) {
    EXPECT_EQ(assetBytes().size(), 7'187'903u);
    EXPECT_EQ(writeEncoderModel(model()), assetBytes());
}

TEST_F(EncoderModelTest, RefusesEveryTruncation) {
    const std::string& bytes = assetBytes();
    for (std::size_t length = 0; length < bytes.size(); length += 1 + length / 9) {
        // A copy of its own, so that reading past the end is seen by the sanitizers.
        EXPECT_THROW(readEncoderModel(std::string(bytes, 0, length)), DamagedEncoder) << length;
    }
    EXPECT_THROW(readEncoderModel(std::string(bytes, 0, bytes.size() - 1)), DamagedEncoder);
    EXPECT_THROW(readEncoderModel(bytes + '\0'), DamagedEncoder);
}

TEST_F(EncoderModelTest, RefusesWhatNoConverterWrites) {
    constexpr std::uint32_t huge = std::numeric_limits<std::uint32_t>::max();
    const std::size_t tensor = firstTensorOffset();
    const std::size_t scale = tensor + 9;
    const std::size_t firstPiece = assetMagic.size() + 8;
    const float notANumber = std::numeric_limits<float>::quiet_NaN();
    const struct {
        const char* name;
        std::string bytes;
    } cases[] = {
        {"another magic", damaged(0, 'X')},
        {"a later version", damaged(assetMagic.size(), assetVersion + 1)},
        {"more pieces than vectors", damaged(assetMagic.size() + 4, huge)},
        {"a piece longer than the file's rest", damaged(firstPiece, std::uint16_t{0xffff})},
        {"an empty piece", damaged(firstPiece, std::uint16_t{0})},
        {"a score without a value", damaged(firstPiece + 2, notANumber)},
        {"a piece that is not text", damaged(firstPiece + 6, '\xff')},
        {"an unknown kind of tensor", damaged(tensor, std::uint8_t{7})},
        {"rows that overflow", damaged(tensor + 1, huge)},
        {"columns of another model", damaged(tensor + 5, std::uint32_t{128})},
        {"an infinite scale", damaged(scale, std::numeric_limits<float>::infinity())},
        {"a scale without a value", damaged(scale, notANumber)},
        {"an absurd mean", damaged(assetBytes().size() - 4, 1e30f)},
    };
    for (const auto& each : cases) {
        EXPECT_THROW(readEncoderModel(each.bytes), DamagedEncoder) << each.name;
    }
}

TEST_F(EncoderModelTest, OpeningTellsAMissingFileFromADamagedOne) {
    const TemporaryDirectory folder;
    EXPECT_THROW(openSentenceEncoder(files(), folder / "none.bin"), FileError);
    EXPECT_THROW(openSentenceEncoder(files(), folder.write("empty.bin", "")), DamagedEncoder);
}

}  // namespace
}  // namespace nookery::testing
