#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <functional>

#include "conversation/Conversation.h"

namespace nookery::testing {
namespace {

/// The phone asks again and again, as it would, until what it waits for has come.
void expectSoon(const char* what, const std::function<bool()>& hasCome) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!hasCome()) {
        ASSERT_LT(std::chrono::steady_clock::now(), end) << what;
    }
}

TEST(WatchTest, DoesTheWholeConversationByItself) {
    const Conversation conversation;
    const TemporaryDirectory& home = conversation.program().home;
    const Path inbox = ".local/share/Crumb/Inbox";
    conversation.phoneJson({"pair"});
    const std::string id = conversation.addNote("Recipe", "Two eggs");
    const auto watching = conversation.startNookery({"watch"});
    const auto showsTitle = [&](const std::string& title) {
        return [&conversation, title] {
            const Outcome seen = conversation.phone({"index"});
            return seen.status == 0 && seen.out.find('"' + title + '"') != std::string::npos;
        };
    };
    expectSoon("published at the start", showsTitle("Recipe"));

    const std::string request =
        conversation.phoneJson({"edit", id, "--title", "Cake"}).at("requestID");
    expectSoon("the edit is answered", [&] {
        return conversation.phone({"receipt", request}).status == 0;
    });
    EXPECT_EQ(conversation.phoneJson({"receipt", request}).at("result"), "applied");
    expectSoon("the edit is published", showsTitle("Cake"));

    conversation.phoneJson({"note", "Seen at the market"});
    expectSoon("the note is taken in and published", showsTitle("Seen at the market"));

    const std::string report =
        conversation.phoneJson({"report", home.write("report.json", R"({"title":"Pier 4"})")})
            .at("id");
    expectSoon("the report is received", [&] {
        return std::filesystem::exists(home / ".local/share/Crumb/FieldReports" / report);
    });

    conversation.phoneJson({"unpair"});
    home.write(inbox / "While unpaired.txt", "nobody sees this yet");
    expectSoon("the file is taken in",
               [&] { return !std::filesystem::exists(home / inbox / "While unpaired.txt"); });
    conversation.phoneJson({"pair"});
    home.write(inbox / "Paired again.txt", "and now");
    expectSoon("all is published with the new key", showsTitle("Paired again"));
    EXPECT_TRUE(showsTitle("While unpaired")());

    watching->signal(SIGINT);
    const Outcome outcome = watching->finish();
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_EQ(outcome.error.find("Pair the iPhone"), std::string::npos);
}

}  // namespace
}  // namespace nookery::testing
