// The network and its tokeniser against vectors from the published graph, run once by the machine
// learning library it was published for; docs/embedding.md tells how.

#include "backends/embedding/Transformer.h"

#include <cmath>
#include <numeric>

#include "EncoderFixture.h"
#include "backends/embedding/TextChunks.h"
#include "foundation/Json.h"

namespace nookery::testing {
namespace {

using namespace encoder;

class TransformerTest : public EncoderTest {
  protected:
    static Json reference() {
        const Path path = Path(NOOKERY_TEST_DATA) / "sentence-encoder-reference.json";
        return parseJson(readWholeFile(files(), path, 1u << 20));
    }
    /// A vector that is written in ten-thousandths.
    static std::vector<float> vectorAt(const Json& object, const char* key) {
        auto vector = object.at(key).get<std::vector<float>>();
        for (float& value : vector) value /= 10'000;
        return vector;
    }
    static const PieceTokenizer& tokenizer() {
        static const PieceTokenizer instance(model().pieces);
        return instance;
    }
    static float largestDifference(const std::vector<float>& left,
                                   const std::vector<float>& right) {
        float largest = 0;
        for (std::size_t i = 0; i < left.size(); ++i) {
            largest = std::max(largest, std::abs(left[i] - right[i]));
        }
        return largest;
    }
};

TEST_F(TransformerTest, AgreesWithThePublishedGraph) {
    const Transformer transformer(model());
    const Json cases = reference();
    ASSERT_GE(cases.size(), 12u);
    for (const Json& each : cases) {
        const auto text = requiredString(each, "text");
        const auto pieces = each.at("pieces").get<std::vector<PieceId>>();
        EXPECT_EQ(tokenizer().tokenize(prepared(text)), pieces) << text;

        const auto vector = transformer.encode(pieces);
        // The arithmetic is held tightly, against the graph with our 8-bit weights. What those cost
        // against the original ones is .9990 to .9998, and a text of rare pieces may cost more: the
        // bound stands well below, where a wrong weight would show.
        EXPECT_LT(largestDifference(vector, vectorAt(each, "roundedWeights")), 5e-4f) << text;
        const auto original = vectorAt(each, "vector");
        EXPECT_LT(largestDifference(vector, original), 0.015f) << text;
        EXPECT_GT(std::inner_product(vector.begin(), vector.end(), original.begin(), 0.0f), 0.995f)
            << text;
    }
}

TEST_F(TransformerTest, GivesTheSameOnEveryMachine) {
    const Transformer plain(model(), baselineKernels);
    const Transformer fast(model(), machineKernels());
    // Every way of cutting rows into tiles, and the longest text.
    for (const std::size_t count : {1, 2, 3, 4, 5, 6, 7, 11, 13, 48, 128}) {
        std::vector<PieceId> pieces;
        for (std::size_t i = 0; i < count; ++i) {
            pieces.push_back(static_cast<PieceId>(6 + (i * 2003) % 7990));
        }
        EXPECT_EQ(plain.encode(pieces), fast.encode(pieces)) << count;
    }
}

TEST_F(TransformerTest, TokenisesAnyText) {
    const auto unknownIn = [](std::string_view text) {
        return std::ranges::count(tokenizer().tokenize(text), PieceTokenizer::unknownPiece);
    };
    EXPECT_TRUE(tokenizer().tokenize("").empty());
    EXPECT_EQ(unknownIn("plain words, 12:30 (or so)"), 0);
    EXPECT_EQ(unknownIn("\u65e5\u672c\u8a9e"), 1) << "a run of unknown characters is one piece";
    EXPECT_EQ(unknownIn("\u65e5 and \u672c"), 2);
    // Known words keep their pieces beside unknown ones.
    const auto mixed = tokenizer().tokenize("\U0001F600 milk");
    const auto milk = tokenizer().tokenize("milk");
    EXPECT_EQ(mixed.back(), milk.back());
}

}  // namespace
}  // namespace nookery::testing
