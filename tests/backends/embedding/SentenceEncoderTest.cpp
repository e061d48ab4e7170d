#include <cmath>
#include <thread>

#include "EncoderFixture.h"
#include "support/TemporaryDirectory.h"
#include "support/VirtualWorld.h"

namespace nookery::testing {
namespace {

class SentenceEncoderTest : public EncoderTest {
  protected:
    static double cosine(std::string_view left, std::string_view right) {
        const auto a = embedder().embedQuery(left);
        const auto b = embedder().embedMemory(right);
        if (!a || !b) return NAN;
        double sum = 0;
        for (std::size_t i = 0; i < a->size(); ++i) sum += double{(*a)[i]} * (*b)[i];
        return sum;
    }
    static bool hasMemoryVector(std::string_view text) {
        return embedder().embedMemory(text).has_value();
    }
};

TEST_F(SentenceEncoderTest, IsCalibrated) {
    EXPECT_NEAR(cosine("How old are you?", "What is your age?"), 0.849, 0.01);
    EXPECT_NEAR(cosine("The cat sat on the mat.", "Quarterly earnings fell sharply."), 0.023, 0.01);
    EXPECT_NEAR(cosine("airplane tickets Portugal",
                       "Booked the flights to Lisbon for the second week of May."),
                0.544, 0.01);
}

TEST_F(SentenceEncoderTest, GivesUnitVectorsOfItsDimension) {
    for (const std::string_view text :
         {"milk", "See https://example.org/a?b=c", "One thing. Another thing! A third?"}) {
        const auto vector = embedder().embedMemory(text);
        ASSERT_TRUE(vector) << text;
        ASSERT_EQ(vector->size(), embedder().dimension());
        double squares = 0;
        for (const float value : *vector) squares += double{value} * value;
        EXPECT_NEAR(squares, 1, 1e-5) << text;
    }
}

TEST_F(SentenceEncoderTest, GivesNoneForATextWithoutMeaning) {
    for (const std::string_view text : {"", "   \n", "日本語", "\xff\xfe", "😀"}) {
        EXPECT_FALSE(embedder().embedQuery(text)) << text;
        EXPECT_FALSE(embedder().embedMemory(text)) << text;
    }
}

TEST_F(SentenceEncoderTest, ReadsCapitalsAsIfTheyWereNot) {
    EXPECT_NEAR(cosine("RENEW THE PASSPORT", "renew the passport"), 1, 1e-5);
    // With any lower-case letter, capitals are names and kept.
    EXPECT_LT(cosine("renew the Passport", "renew the passport"), 0.9999);
}

TEST_F(SentenceEncoderTest, WeighsTheSentencesOfALongText) {
    const std::string topic = "The roses need pruning before the frost comes. ";
    std::string text;
    for (int i = 0; i < 30; ++i) text += topic;
    EXPECT_GT(cosine("pruning roses before frost", text), 0.6);
    text += "The invoice for the roof was paid in March.";
    EXPECT_GT(cosine("pruning roses before frost", text), cosine("roof invoice", text));
}

TEST_F(SentenceEncoderTest, GivesEnglishMemoriesAVector) {
    for (const std::string_view text :
         {"Nina's recital moved to the gym because of the flood in the hall.",
          "Pick up the framed map from the shop on Weaver Street", "call Jo", "Lisbon, Porto, Faro",
          "Eggs, cream, basil, candles, printer paper", "Bus 42 leaves at 6:55 from the bridge",
          "Love the café in Rue de la Paix, the owner told us it was his aunt's before",
          "RETURN THE LADDER TO PAUL BY SUNDAY", "Dinner was great 😀🍝 thanks!"}) {
        EXPECT_TRUE(hasMemoryVector(text)) << text;
    }
}

TEST_F(SentenceEncoderTest, GivesMemoriesInOtherLanguagesNone) {
    for (const std::string_view text :
         {"Morgen früh die Winterreifen abholen und den Keller aufräumen.",
          "Mañana hay que recoger los neumáticos de invierno y ordenar el sótano.",
          "Demain il faut chercher les pneus d'hiver et ranger la cave.",
          "Domani bisogna ritirare le gomme da neve e mettere in ordine la cantina.",
          "Morgen de winterbanden ophalen en de kelder opruimen.",
          "Jutro trzeba odebrać opony zimowe i posprzątać piwnicę.",
          "Amanhã é preciso buscar os pneus de inverno e arrumar a cave.",
          "Завтра забрать зимние шины.", "明日は冬タイヤを取りに行く",
          "昨日は東京に登って、美しい夕日を見ました。大学の友人と山の上で酒を"}) {
        EXPECT_FALSE(hasMemoryVector(text)) << text;
    }
    // A query is too short to be judged.
    EXPECT_TRUE(embedder().embedQuery("Morgen früh die Winterreifen abholen und den Keller"));
}

TEST_F(SentenceEncoderTest, OneThatIsReadWhenFirstNeededSaysTheSame) {
    RecordingLog log;
    const auto later = makeSentenceEncoder(files(), asset(), log);
    EXPECT_EQ(later->modelName(), embedder().modelName());
    EXPECT_EQ(later->dimension(), embedder().dimension());
    EXPECT_EQ(later->embedQuery("a winter coat"), embedder().embedQuery("a winter coat"));
    EXPECT_TRUE(log.lines.empty());
}

TEST(LazySentenceEncoder, DamageIsToldOnceAndNoMemoryIsTakenForOneWithoutMeaning) {
    const TemporaryDirectory folder;
    const auto files = makePosixFileSystem();
    RecordingLog log;
    const auto damaged = makeSentenceEncoder(*files, folder.write("asset", "rubbish"), log);
    EXPECT_FALSE(damaged->embedQuery("a winter coat"));
    EXPECT_THROW(damaged->embedMemory("a winter coat"), encoder::DamagedEncoder);
    EXPECT_EQ(log.lines.size(), 1u);
}

TEST_F(SentenceEncoderTest, MayBeAskedFromSeveralThreads) {
    const std::string text = "Ask the gardener about the hedge along the north fence.";
    const auto expected = embedder().embedMemory(text);
    std::vector<std::optional<std::vector<float>>> answers(4);
    std::vector<std::thread> threads;
    threads.reserve(answers.size());
    for (auto& answer : answers) {
        threads.emplace_back([&answer, &text] { answer = embedder().embedMemory(text); });
    }
    for (auto& thread : threads) thread.join();
    for (const auto& answer : answers) EXPECT_EQ(answer, expected);
}

}  // namespace
}  // namespace nookery::testing
