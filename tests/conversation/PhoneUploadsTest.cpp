#include <gtest/gtest.h>

#include <map>

#include "conversation/Conversation.h"

namespace nookery::testing {
namespace {

class PhoneUploadsTest : public ::testing::Test {
  protected:
    /// Every file of a folder with its bytes.
    static std::map<std::string, std::string> contentOf(const TemporaryDirectory& folder,
                                                        const Path& below) {
        std::map<std::string, std::string> content;
        for (const std::string& name : folder.filesBelow(below)) {
            content.emplace(name, folder.read(below / name));
        }
        return content;
    }

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

TEST_F(PhoneUploadsTest, AFieldReportTravelsFromUploadToPdfAndIsNeverChanged) {
    const std::string id =
        conversation_
            .phoneJson({"report",
                        home_.write("report.json", R"({"title":"Pier 4","clientProject":"Harbour",)"
                                                   R"("notes":"Rust below the waterline"})"),
                        photo_, home_.write("Soil.txt", "wet")})
            .at("id");
    const auto uploaded = contentOf(conversation_.cloud(), {});
    ASSERT_EQ(uploaded.size(), 3u);
    EXPECT_EQ(conversation_.nookeryJson({"reports", "scan"}).at("received"), Json({id}));
    const Path received = Path(".local/share/Crumb/FieldReports") / id;
    const auto kept = contentOf(home_, received);
    EXPECT_EQ(kept.size(), 3u);

    const Json report = conversation_.nookeryJson({"reports", "show", id});
    const std::string soil = report.at("attachments").at(1).at("id");
    conversation_.nookeryJson(
        {"reports", "draft", id, "--set", "location=Quay", "--exclude", soil});
    conversation_.nookeryJson({"reports", "rename", id, "Pier 4, below"});
    const Path pdf = home_ / "pier.pdf";
    EXPECT_EQ(conversation_.nookeryJson({"reports", "pdf", id, pdf}).at("pages"), 2);
    ASSERT_EQ(std::system(("pdftotext '" + pdf.native() + "'").c_str()), 0);
    const std::string text = home_.read("pier.txt");
    for (const char* expected :
         {"Pier 4, below", "Harbour", "Rust below the waterline",
          R"(ATTACHMENT \(index + 1) OF \(attachments.count))", R"(Page \(pageNumber))"}) {
        EXPECT_NE(text.find(expected), std::string::npos) << expected;
    }
    EXPECT_EQ(text.find("Soil"), std::string::npos);

    EXPECT_EQ(contentOf(home_, received), kept);
    conversation_.nookeryJson({"reports", "delete", "--yes", id});
    EXPECT_EQ(conversation_.nookeryJson({"reports", "scan"}).at("received"), Json::array());
    EXPECT_EQ(contentOf(conversation_.cloud(), {}), uploaded);
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
    const std::string reports = "iCloud.com.kestrel.Nookery/Documents/NookeryFieldReports/";
    const std::string id = "11111111-2222-4333-8444-555555555555";
    conversation_.cloud().write(reports + id + "/manifest.json",
                                R"({"format":"nookery.fieldreport","version":1,"report":{"id":")" +
                                    id + R"(","attachments":[{"storedName":"../x"}]}})");
    conversation_.phoneJson({"note", "Still arrives"});

    conversation_.nookery({"--json", "inbox", "take"});
    EXPECT_EQ(conversation_.nookeryJson({"list"}).at("items").at(0).at("title"), "Still arrives");
    EXPECT_EQ(conversation_.nookeryJson({"list"}).at("count"), 1);
    for (const auto& [name, content] : hostile) {
        EXPECT_EQ(conversation_.cloud().read(inbox / name), content);
    }
    conversation_.nookery({"--json", "reports", "scan"});
    EXPECT_EQ(conversation_.nookeryJson({"reports", "list"}).at("count"), 0);
}

}  // namespace
}  // namespace nookery::testing
