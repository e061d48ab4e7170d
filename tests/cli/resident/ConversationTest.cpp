#include "cli/resident/Conversation.h"

#include <gtest/gtest.h>

#include "foundation/Json.h"

namespace nookery::cli {
namespace {

TEST(Conversation, FindsMessagesHoweverTheirBytesArrive) {
    const std::string bytes = encoded(MessageKind::output, "one") + encoded(MessageKind::stop) +
                              encoded(MessageKind::message, std::string(100'000, 'x'));
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, bytes.size()}) {
        MessageSplitter splitter;
        std::vector<Message> found;
        for (std::size_t i = 0; i < bytes.size(); i += piece) {
            splitter.add(std::string_view(bytes).substr(i, piece));
            while (auto message = splitter.next()) found.push_back(std::move(*message));
        }
        ASSERT_EQ(found.size(), 3U);
        EXPECT_EQ(found[0].content, "one");
        EXPECT_EQ(found[1].kind, MessageKind::stop);
        EXPECT_EQ(found[2].content.size(), 100'000U);
    }
}

TEST(Conversation, RefusesAMessageThatIsTooLongBeforeItTakesIt) {
    MessageSplitter splitter;
    splitter.add(std::string("\xff\xff\xff\x7fo", 5));
    EXPECT_THROW(splitter.next(), Error);
}

TEST(Conversation, CarriesAnyBytes) {
    const CommandRequest request{
        .words = {"add", "odd \xff\xfe\n name", ""},
        .places = {.dataHome = "/home/\xff",
                   .configHome = "/c",
                   .cacheHome = "/cache",
                   .userData = "/u",
                   .cloudHome = Path("/cloud"),
                   .runtimeHome = "/run"},
        .region = {"Asia/Kathmandu", "ne_NP"},
        .traits = {.hasColour = true, .columns = 72, .canAsk = true, .workingFolder = "/\x80"}};
    const CommandRequest read = parseCommandRequest(toText(request));
    EXPECT_EQ(read.words, request.words);
    EXPECT_EQ(read.places, request.places);
    EXPECT_EQ(read.region, request.region);
    EXPECT_EQ(read.traits.columns, request.traits.columns);
    EXPECT_EQ(read.traits.workingFolder, request.traits.workingFolder);
    const CommandEnding ending =
        parseCommandEnding(toText(CommandEnding{{3, "bad \xff"}, {"log \xfe"}}));
    EXPECT_EQ(ending.ending.status, 3);
    EXPECT_EQ(ending.ending.failure, "bad \xff");
    EXPECT_EQ(ending.log, std::vector<std::string>{"log \xfe"});
}

TEST(Conversation, RefusesWhatIsNoRequest) {
    for (const char* text :
         {"", "[]", "{}", "null", R"({"words":"x"})", R"({"words":[1],"places":{}})",
          R"({"status":"x","failure":"","log":[]})"}) {
        EXPECT_THROW(parseCommandRequest(text), JsonError) << text;
        EXPECT_THROW(parseCommandEnding(text), JsonError) << text;
        EXPECT_THROW(parseQuestion(text), JsonError) << text;
    }
}

}  // namespace
}  // namespace nookery::cli
