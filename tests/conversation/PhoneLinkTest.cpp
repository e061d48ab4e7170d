#include <gtest/gtest.h>

#include <cstdlib>

#include "backends/keys/SecretServiceKeyStore.h"
#include "conversation/Conversation.h"
#include "support/TestKeyring.h"

namespace nookery::testing {
namespace {

class PhoneLinkTest : public ::testing::Test {
  protected:
    void publish() const { conversation_.nookeryJson({"link", "publish"}); }

    Json answers(const char* kind) const {
        return conversation_.nookeryJson({"link", "receive"}).at(kind);
    }

    Conversation conversation_;
    const TemporaryDirectory& home_ = conversation_.program().home;
};

TEST_F(PhoneLinkTest, AnUnpairedPhoneIsToldSoAndNothingLeaves) {
    conversation_.addNote("Spare key", "Under the third flowerpot");
    const Outcome outcome = conversation_.nookery({"link", "publish"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.error.find("Pair the iPhone with Secure Notes before publishing memories."),
              std::string::npos);
    EXPECT_TRUE(conversation_.cloud().filesBelow().empty());
}

TEST_F(PhoneLinkTest, ThePhoneReadsWhatWasPublishedAndNobodyElseDoes) {
    conversation_.phoneJson({"pair"});
    const std::string id = conversation_.addNote("Spare key \U0001F511", "Under the flowerpot");
    const Json added = conversation_.nookeryJson({"add", home_.write("Plan.txt", "dig here")});
    const std::string file = added.at("added").at(0).at("id");
    EXPECT_EQ(conversation_.nookeryJson({"link", "publish"}).at("published"), 2);

    const Json seen = conversation_.seenByPhone(id);
    EXPECT_EQ(seen.at("title"), "Spare key \U0001F511");
    EXPECT_EQ(seen.at("kind"), "Text");
    EXPECT_EQ(seen.at("body"), "Under the flowerpot");
    EXPECT_EQ(conversation_.seenByPhone(file).at("kind"), "File");
    conversation_.phoneJson({"attachment", file, home_ / "received"});
    EXPECT_EQ(home_.read("received"), "dig here");
    for (const std::string& name : conversation_.cloud().filesBelow()) {
        const std::string bytes = conversation_.cloud().read(name);
        for (const char* secret : {"Spare", "flowerpot", "dig", "Plan"}) {
            EXPECT_EQ(bytes.find(secret), std::string::npos) << name;
        }
    }
}

TEST_F(PhoneLinkTest, EditsAreAppliedOrAnsweredWithTheReason) {
    conversation_.phoneJson({"pair"});
    const std::string id = conversation_.addNote("Recipe", "Two eggs");
    publish();

    Json receipt = conversation_.editAndAnswer({id, "--title", "Cake", "--details", "Grandma's"});
    EXPECT_EQ(receipt.at("result"), "applied");
    EXPECT_EQ(receipt.at("explanation"), "Changes saved on Mac");
    const Json memory = conversation_.nookeryJson({"show", id});
    EXPECT_EQ(memory.at("title"), "Cake");
    EXPECT_EQ(memory.at("note"), "Grandma's");
    EXPECT_EQ(memory.at("text"), "Two eggs");

    // The phone still shows what was published before.
    receipt = conversation_.editAndAnswer({id, "--body", "Three eggs"});
    EXPECT_EQ(receipt.at("result"), "conflict");
    EXPECT_EQ(receipt.at("explanation"),
              "This memory changed on the Mac. Your phone edit was preserved, not overwritten.");
    publish();
    EXPECT_EQ(conversation_.seenByPhone(id).at("title"), "Cake");
    receipt = conversation_.editAndAnswer({id, "--body", "Three eggs"});
    EXPECT_EQ(receipt.at("result"), "applied");

    publish();
    conversation_.nookeryJson({"delete", "--yes", id});
    receipt = conversation_.editAndAnswer({id, "--title", "Gone"});
    EXPECT_EQ(receipt.at("result"), "missing");
    EXPECT_EQ(receipt.at("explanation"),
              "The memory no longer exists on the Mac. Your phone edit was preserved.");

    // Requests stay, and are not answered again.
    const auto before = conversation_.cloud().filesBelow();
    const Json again = conversation_.nookeryJson({"link", "receive"});
    EXPECT_EQ(again.at("applied"), 0);
    EXPECT_EQ(again.at("conflict"), 0);
    EXPECT_EQ(conversation_.cloud().filesBelow(), before);
    publish();
    EXPECT_TRUE(conversation_.seenByPhone(id).is_null());
}

TEST_F(PhoneLinkTest, UnpairingSilencesAndANewKeySealsEverythingAnew) {
    conversation_.phoneJson({"pair"});
    const Json added = conversation_.nookeryJson({"add", home_.write("Plan.txt", "dig here")});
    const std::string file = added.at("added").at(0).at("id");
    publish();
    const std::string attachment =
        "iCloud.com.kestrel.Nookery/Documents/NookerySecureSyncV1/"
        "MemoriesV1/memory-" +
        file + ".enc";
    const std::string earlier = conversation_.cloud().read(attachment);
    conversation_.phoneJson({"edit", file, "--title", "Asked while paired"});

    conversation_.phoneJson({"unpair"});
    EXPECT_EQ(answers("applied"), 0);
    EXPECT_EQ(conversation_.nookery({"link", "publish"}).status, 1);
    EXPECT_EQ(conversation_.cloud().read(attachment), earlier);
    const Json status = conversation_.nookeryJson({"link", "status"});
    EXPECT_EQ(status.at("paired"), false);
    EXPECT_NE(status.at("keyStore").get<std::string>().find("unencrypted"), std::string::npos);

    conversation_.phoneJson({"pair"});
    // What was sealed with the old key is no request of this phone.
    EXPECT_EQ(answers("skipped"), 1);
    const Json report = conversation_.nookeryJson({"link", "publish"});
    EXPECT_EQ(report.at("attachmentsWritten"), 1);
    conversation_.phoneJson({"attachment", file, home_ / "received"});
    EXPECT_EQ(home_.read("received"), "dig here");
    EXPECT_EQ(conversation_.seenByPhone(file).at("title"), "Plan");
}

TEST(PhoneLinkWithKeyringTest, PairsThroughARealKeyringAndFailsClosedWhenItIsLocked) {
    const auto keyring = TestKeyring::start();
    if (!keyring) GTEST_SKIP() << "needs dbus-daemon and gnome-keyring";
    const Conversation conversation(*keyring);
    const std::string id = conversation.addNote("Recipe", "Two eggs");
    conversation.phoneJson({"pair"});
    conversation.nookeryJson({"link", "publish"});
    EXPECT_EQ(conversation.editAndAnswer({id, "--title", "Cake"}).at("result"), "applied");

    conversation.phoneJson({"edit", id, "--title", "While locked"});
    keyring->lock();
    const auto before = conversation.cloud().filesBelow();
    EXPECT_EQ(conversation.nookery({"link", "publish"}).status, 1);
    EXPECT_EQ(conversation.nookeryJson({"link", "receive"}).at("applied"), 0);
    const Json status = conversation.nookeryJson({"link", "status"});
    EXPECT_EQ(status.at("paired"), false);
    EXPECT_NE(status.at("pairingProblem").get<std::string>().find("locked"), std::string::npos);
    EXPECT_EQ(conversation.cloud().filesBelow(), before);
    EXPECT_EQ(conversation.nookeryJson({"show", id}).at("title"), "Cake");
}

TEST(SecureValuesTest, GoWithTheirMemoriesFromARealKeyring) {
    const auto keyring = TestKeyring::start();
    if (!keyring) GTEST_SKIP() << "needs dbus-daemon and gnome-keyring";
    ::setenv("DBUS_SESSION_BUS_ADDRESS", keyring->busAddress().c_str(), 1);
    const auto keyStore = makeSecretServiceKeyStore();
    const std::string service = "com.kestrelhq.Crumb.secure";
    const Conversation conversation(*keyring);
    std::vector<std::string> ids;
    for (const char* title : {"First card", "Second card", "Third card"}) {
        ids.push_back(conversation.addNote(title, "kept elsewhere"));
        keyStore->write(service, ids.back(), title);
    }
    conversation.nookeryJson({"delete", "--yes", ids[0]});
    EXPECT_EQ(keyStore->read(service, ids[0]), std::nullopt);
    EXPECT_EQ(keyStore->read(service, ids[1]), "Second card");
    conversation.nookeryJson({"clear", "--yes"});
    for (const std::string& id : ids) EXPECT_EQ(keyStore->read(service, id), std::nullopt);

    const std::string last = conversation.addNote("Fourth card", "kept elsewhere");
    keyring->lock();
    EXPECT_EQ(conversation.nookeryJson({"delete", "--yes", last}).at("deleted"), 1);
}

}  // namespace
}  // namespace nookery::testing
