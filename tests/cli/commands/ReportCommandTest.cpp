#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "cli/NameWatch.h"
#include "cli/NookeryProgram.h"
#include "support/UploadedReport.h"

namespace nookery {
namespace {

using testing::NookeryProgram;
using testing::UploadedReport;

class ReportCommand : public ::testing::Test {
  protected:
    ReportCommand() {
        upload.attach("roof.ppm", std::string("P6\n2 1\n255\n") + "\xFF\x10\x10\x20\x20\xFF");
        upload.attach("plan.txt", "a plan").upload(nookery.home);
        nookery.json({"config", "set", "cloud-folder", (nookery.home / "drive").native()});
        nookery.json({"reports", "scan"});
    }

    std::string below(const Path& folder) { return testing::everythingBelow(*files, folder); }
    Json draft(std::vector<std::string> changes) {
        changes.insert(changes.begin(), {"reports", "draft", id});
        return nookery.json(changes);
    }
    std::string mediaId(std::size_t index) { return draft({})["media"][index]["id"]; }

    NookeryProgram nookery;
    std::unique_ptr<FileSystem> files = makePosixFileSystem();
    UploadedReport upload{Uuid::random()};
    std::string id = upload.id.toString();
    Path received = nookery.library / "FieldReports" / id;
};

TEST_F(ReportCommand, FromUploadToPdfWithoutTouchingWhatWasReceived) {
    const std::string matches = below(received) + below(nookery.home / "drive");
    EXPECT_EQ(nookery.json({"reports", "list"})["count"], 1);
    EXPECT_EQ(nookery.json({"reports", "rename", id, "Pier 4"})["title"], "Pier 4");
    const std::string roof = mediaId(0);
    const std::string plan = mediaId(1);
    nookery.home.write("more.txt", "added");
    const Json draft = this->draft({"--set", "notes=All = well", "--set", "reportDate=2026-04-02",
                                    "--exclude", plan, "--caption", roof + "=North side", "--move",
                                    roof + "=down", "--add", (nookery.home / "more.txt").native()});
    EXPECT_EQ(draft["title"], "Pier 4");
    EXPECT_EQ(draft["notes"], "All = well");
    EXPECT_EQ(draft["media"][1]["caption"], "North side");
    EXPECT_EQ(draft["media"][0]["isIncluded"], false);
    EXPECT_EQ(draft["media"][2]["displayName"], "more.txt");
    EXPECT_EQ(nookery.json({"reports", "show", id})["notes"], "Two tiles are loose.");

    const Path pdf = nookery.home / "report.pdf";
    const auto write = [&] { return nookery.run({"reports", "pdf", id, pdf.native(), "--json"}); };
    EXPECT_EQ(write().json()["pages"], 3);
    const std::string content = nookery.home.read("report.pdf");
    EXPECT_TRUE(content.starts_with("%PDF-"));
    EXPECT_NE(content.find("/Subtype /Image"), std::string::npos);
    EXPECT_EQ(write().status, 1) << "is not written over unasked";
    nookery.json({"reports", "pdf", id, pdf.native(), "--replace"});
    EXPECT_TRUE(nookery.home.read("report.pdf") == content) << "other bytes from the same draft";
    EXPECT_EQ(below(received) + below(nookery.home / "drive"), matches);
}

TEST_F(ReportCommand, DeletedToTheTrashAndNeverTakenAgain) {
    const std::string matches = below(nookery.home / "drive");
    EXPECT_EQ(nookery.run({"reports", "delete", id, "--no-input"}).status, 2);
    EXPECT_EQ(nookery.json({"reports", "delete", id, "--dry-run"})["deleted"], 0);
    EXPECT_EQ(nookery.json({"reports", "delete", id, "--yes"})["deleted"], 1);
    EXPECT_EQ(nookery.json({"reports", "scan"})["received"].size(), 0u);
    EXPECT_EQ(nookery.json({"reports", "list"})["count"], 0);
    EXPECT_TRUE(std::filesystem::exists(nookery.home / ".local/share/Trash/files" / id));
    EXPECT_EQ(below(nookery.home / "drive"), matches);
}

TEST_F(ReportCommand, EachChangeIsAStepThatUndoTakesBack) {
    nookery.json({"reports", "rename", id, "Pier 4"});
    draft({"--set", "notes=Mine", "--exclude", mediaId(0)});
    nookery.json({"reports", "delete", id, "--yes"});
    nookery.json({"undo"});
    EXPECT_EQ(nookery.json({"reports", "show", id})["title"], "Pier 4");
    EXPECT_EQ(nookery.json({"undo"})["undone"]["changes"], 2);
    EXPECT_EQ(draft({})["notes"], "Two tiles are loose.");
    nookery.json({"undo"});
    EXPECT_EQ(nookery.json({"reports", "show", id})["title"], "Roof survey");
    EXPECT_EQ(nookery.json({"reports", "scan"})["received"].size(), 0u);
}

TEST_F(ReportCommand, WatchTakesReportsInByItself) {
    UploadedReport second(Uuid::random(), "Second");
    second.upload(nookery.home);
    const testing::NameWatch arrived(received.parent_path(), IN_MOVED_TO);
    const auto watching = nookery.start({"watch"});
    arrived.waitFor(second.id.toString());
    watching->signal(SIGINT);
    EXPECT_EQ(watching->finish().status, 0);
    EXPECT_EQ(nookery.json({"reports", "list"})["count"], 2);
    EXPECT_EQ(nookery.json({"reports", "show", second.id.toString()})["title"], "Second");
}

TEST_F(ReportCommand, SaysWhatIsWrong) {
    UploadedReport bad(Uuid::random());
    bad.attach("../x", std::nullopt).upload(nookery.home);
    const auto scanned = nookery.run({"reports", "scan", "--json"});
    EXPECT_EQ(scanned.status, 1);
    EXPECT_EQ(scanned.json()["failed"][0]["folder"], bad.id.toString());
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{"--set", "notes"},
                                                  {"--set", "colour=red"},
                                                  {"--set", "reportDate=soon"},
                                                  {"--move", mediaId(0) + "=left"}}) {
        std::vector<std::string> words{"reports", "draft", id};
        words.insert(words.end(), wrong.begin(), wrong.end());
        EXPECT_EQ(nookery.run(words).status, 2) << wrong[1];
    }
    EXPECT_EQ(nookery.run({"reports", "show", "00000000"}).status, 1);
    std::filesystem::remove_all(nookery.home / "drive");
    EXPECT_NE(nookery.run({"reports", "scan"}).error.find("Is the cloud drive connected?"),
              std::string::npos);
}

}  // namespace
}  // namespace nookery
