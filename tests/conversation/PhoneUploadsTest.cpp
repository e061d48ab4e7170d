#include <gtest/gtest.h>

#include <map>

#include "conversation/Conversation.h"

namespace nookery::testing {
namespace {

class PhoneUploadsTest : public ::testing::Test {
  protected:
    Json memoriesOfKind(const char* kind) const {
        return conversation_.nookeryJson({"list", "--kind", kind}).at("items");
    }

    Conversation conversation_;
    const TemporaryDirectory& home_ = conversation_.program().home;
    const Path photo_ = Path(NOOKERY_SAMPLES) / "pictures/Evening at the lake.png";
};

TEST_F(PhoneUploadsTest, NotesAndActivitiesBecomeMemoriesAndLeaveTheInbox) {
    conversation_.phoneJson({"note", "Seen at the market #cheese", photo_});
    conversation_.phoneJson({"note", "Only words"});
    home_.write("track.gpx", "<gpx/>");
    conversation_.phoneJson(
        {"activity", home_.write("walk.json", R"({"activityID":"walk-1","title":"Round the lake",)"
                                              R"("summary":"Two hours, one heron",)"
                                              R"("events":[{"relativePath":"track.gpx"}]})")});
    conversation_.nookeryJson({"inbox", "take"});

    EXPECT_EQ(memoriesOfKind("text").size(), 2u);
    const Json images = memoriesOfKind("image");
    ASSERT_EQ(images.size(), 1u);
    const std::string original = images.at(0).at("filePath");
    EXPECT_EQ(home_.read(original), home_.read(photo_));
    EXPECT_EQ(memoriesOfKind("activity").at(0).at("title"), "Round the lake");
    EXPECT_EQ(conversation_.nookeryJson({"search", "heron"}).at("total"), 1);
    EXPECT_EQ(conversation_.nookeryJson({"search", "#cheese"}).at("total"), 1);
    EXPECT_TRUE(conversation_.cloud().filesBelow().empty());
    conversation_.nookeryJson({"inbox", "take"});
    EXPECT_EQ(conversation_.nookeryJson({"list"}).at("count"), 4);
}

TEST_F(PhoneUploadsTest, HostilePackagesStayWhereTheyAreAndTheOthersArrive) {
    const Path inbox = "iCloud.com.kestrel.Nookery/Documents/Inbox";
    const std::map<std::string, std::string> hostile{
        {"broken.crumbnote/note.json", "{"},
        {"deep.crumbnote/note.json", std::string(200'000, '[')},
        {"types.crumbnote/note.json", R"({"schemaVersion":[],"text":{},"attachments":"x"})"},
        {"escape.crumbnote/note.json",
         R"({"schemaVersion":1,"kind":"note","noteID":"n","createdAt":"","text":"out",)"
         R"("attachments":["../../../../../etc/passwd","/etc/passwd"]})"},
    };
    for (const auto& [name, content] : hostile) conversation_.cloud().write(inbox / name, content);
    conversation_.phoneJson({"note", "Still arrives"});

    conversation_.nookery({"--json", "inbox", "take"});
    EXPECT_EQ(conversation_.nookeryJson({"list"}).at("items").at(0).at("title"), "Still arrives");
    EXPECT_EQ(conversation_.nookeryJson({"list"}).at("count"), 1);
    for (const auto& [name, content] : hostile) {
        EXPECT_EQ(conversation_.cloud().read(inbox / name), content);
    }
}

}  // namespace
}  // namespace nookery::testing
