#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "collection/store/CrumbStore.h"
#include "fieldreports/FieldReportError.h"
#include "fieldreports/FieldReportWorkingCopy.h"
#include "fieldreports/NookeryFieldReportReceiver.h"
#include "support/TestPlatform.h"
#include "support/UploadedReport.h"

namespace nookery {
namespace {

using testing::UploadedReport;

class FieldReportReceiverTest : public ::testing::Test {
  protected:
    FieldReportReceiverTest() { world.cloud.available = true; }

    void start() {
        receiver = std::make_unique<NookeryFieldReportReceiver>(
            world.platform(), world.layout(), [this](const auto& list) { reports = list; });
        receiver->start();
        world.time.settle();
    }

    Path uploads() const { return world.folder / testing::uploadedReports; }
    std::string uploaded() { return testing::everythingBelow(*world.realFiles, uploads()); }
    std::string received() {
        return testing::everythingBelow(*world.realFiles, reports.at(0).folderURL);
    }

    std::size_t importErrors() const {
        return static_cast<std::size_t>(
            std::count_if(world.log.lines.begin(), world.log.lines.end(), [](const auto& line) {
                return line.starts_with("NOOKERY Field Report import error (");
            }));
    }

    testing::TestPlatform world;
    std::vector<NookeryReceivedFieldReport> reports;
    std::unique_ptr<NookeryFieldReportReceiver> receiver;
    UploadedReport upload{Uuid::random()};
};

TEST_F(FieldReportReceiverTest, AWholeReportIsTakenOnceAndListedAtEveryStart) {
    upload.attach("a.jpg", "first bytes")
        .attach("b.pdf", std::string("\0\xFF", 2))
        .upload(world.folder);
    start();
    ASSERT_EQ(reports.size(), 1u);
    const auto& report = reports[0];
    EXPECT_EQ(report.id, upload.id);
    EXPECT_EQ(report.title, "Roof survey");
    EXPECT_EQ(report.location, "Pier 4");
    EXPECT_EQ(toIso8601(report.updatedAt), "2026-03-01T10:00:00.500Z");
    EXPECT_EQ(report.folderURL, world.layout().fieldReports() / upload.id.toString());
    ASSERT_EQ(report.attachments.size(), 2u);
    EXPECT_EQ(report.attachments[1].name, "Original b.pdf");
    EXPECT_EQ(readWholeFile(*world.realFiles, report.attachments[1].url, 100),
              std::string("\0\xFF", 2));
    EXPECT_EQ(readWholeFile(*world.realFiles, report.folderURL / "manifest.json", 100000),
              upload.manifest.dump());
    EXPECT_TRUE(world.log.contains("NOOKERY Field Report received: Roof survey"));

    const std::string before = received();
    world.time.advance(60);
    EXPECT_EQ(received(), before);
    world.cloud.available = false;
    start();
    EXPECT_EQ(reports.size(), 1u);
    EXPECT_TRUE(world.log.contains("NOOKERY Field Reports: 1 reports loaded into store"));
}

TEST_F(FieldReportReceiverTest, StoppedItEndsBetweenReportsAndLooksNoMore) {
    for (int i = 0; i < 3; ++i) {
        UploadedReport(Uuid::random()).attach("a.jpg", "bytes").upload(world.folder);
    }
    receiver = std::make_unique<NookeryFieldReportReceiver>(world.platform(), world.layout(),
                                                            [](const auto&) {});
    world.cloud.whenAsked = [&] { receiver->stop(); };
    receiver->start();
    EXPECT_TRUE(receiver->importInProgress());
    world.time.settle();
    EXPECT_FALSE(receiver->importInProgress());
    world.cloud.whenAsked = {};
    world.time.advance(60);
    const FieldReportRepository repository(world.platform(), world.layout());
    EXPECT_EQ(repository.load().size(), 1u) << "the one that was under way, whole";
}

TEST_F(FieldReportReceiverTest, AReportWaitsUntilEverythingIsHere) {
    upload.attach("a.jpg", "here").attach("b.jpg", std::nullopt).upload(world.folder);
    const Path missing = uploads() / upload.id.toString() / "Attachments/b.jpg";
    world.folder.write(missing.native() + ".nextcloud", "");
    start();
    EXPECT_TRUE(reports.empty());
    EXPECT_EQ(world.cloud.requested, std::vector<Path>{missing});
    world.folder.write(missing, "now too");
    world.time.advance(20);
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(world.folder.filesBelow("data/Crumb/FieldReports").size(), 3u);
}

TEST_F(FieldReportReceiverTest, ANameIsTheSameHoweverTheDriveSpellsIt) {
    const std::string asNamed = "D\u00e4cher.jpg";
    upload.attach(asNamed, std::nullopt).upload(world.folder);
    start();
    EXPECT_TRUE(reports.empty());
    world.folder.write(uploads() / upload.id.toString() / "Attachments/Da\u0308cher.jpg", "bytes");
    world.time.advance(20);
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0].attachments[0].url.filename(), asNamed);
    EXPECT_EQ(world.folder.read(reports[0].attachments[0].url), "bytes");
}

TEST_F(FieldReportReceiverTest, HostileReportsAreRefusedWholeAndStopNoOther) {
    using Spoil = std::function<void(UploadedReport&)>;
    const auto set = [](const char* key, const Json& value) -> Spoil {
        return [=](UploadedReport& report) { report.manifest["report"][key] = value; };
    };
    const auto stored = [](const std::string& name) -> Spoil {
        return [=](UploadedReport& report) { report.attach(name, std::nullopt); };
    };
    const std::vector<std::pair<std::string, Spoil>> cases{
        {"other id", set("id", Uuid::random().toString())},
        {"id of another type", set("id", 7)},
        {"no title", [](auto& report) { report.manifest["report"].erase("title"); }},
        {"date in words", set("reportDate", "first of March")},
        {"date as a number", set("createdAt", 794000000.0)},
        {"notes of another type", set("notes", Json::array())},
        {"attachments of another type", set("attachments", "a.jpg")},
        {"attachment of another type", set("attachments", Json::array({1}))},
        {"above", stored("../outside.jpg")},
        {"dots", stored("..")},
        {"dot", stored(".")},
        {"backslash", stored("a\\b")},
        {"absolute", stored("/etc/hostname")},
        {"empty", stored("")},
        {"NUL", stored(std::string("a\0b", 3))},
        {"overlong", stored(std::string(300, 'n'))},
        {"twice", [](auto& report) { report.attach("\u00e4", "x").attach("a\u0308", "x"); }},
        {"format", [](auto& report) { report.manifest["format"] = "other"; }},
        {"version", [](auto& report) { report.manifest["version"] = 2; }},
        {"version as text", [](auto& report) { report.manifest["version"] = "1"; }},
        {"no object", [](auto& report) { report.manifest = Json::array(); }},
        {"deep",
         [](auto& report) {
             Json deep;
             for (int i = 0; i < 200; ++i) deep = Json::array({std::move(deep)});
             report.manifest["report"]["more"] = std::move(deep);
         }},
    };
    world.folder.write("drive/outside.jpg", "secret");
    start();
    std::size_t badCount = 0;
    for (const auto& [name, spoil] : cases) {
        SCOPED_TRACE(name);
        UploadedReport bad(Uuid::random());
        spoil(bad);
        bad.upload(world.folder);
        world.time.advance(6);
        EXPECT_TRUE(reports.empty());
        EXPECT_EQ(importErrors(), ++badCount);
    }
    upload.upload(world.folder);
    world.time.advance(20);
    EXPECT_EQ(reports.size(), 1u);
    EXPECT_EQ(importErrors(), badCount) << "told again";
    EXPECT_EQ(world.log.problems.size(), badCount);
    std::filesystem::remove_all(uploads());
    world.time.advance(6);
    EXPECT_TRUE(world.log.problems.empty()) << "somebody took them away";
    EXPECT_EQ(world.folder.filesBelow("data/Crumb/FieldReports").size(), 1u);
}

TEST_F(FieldReportReceiverTest, LinksAndFoldersInPlaceOfFilesAreRefused) {
    world.folder.write("secret/a.jpg", "secret");
    upload.attach("a.jpg", "x").upload(world.folder);
    const Path folder = uploads() / upload.id.toString();
    const auto linkInstead = [&](const char* name, const Path& target) {
        std::filesystem::remove_all(folder / name);
        std::filesystem::create_symlink(target, folder / name);
        start();
        EXPECT_TRUE(reports.empty()) << name;
    };
    linkInstead("Attachments/a.jpg", world.folder / "secret/a.jpg");
    linkInstead("Attachments", world.folder / "secret");
    linkInstead("manifest.json", world.folder / "secret/a.jpg");
    EXPECT_EQ(importErrors(), 3u);

    std::filesystem::create_symlink(folder, uploads() / Uuid::random().toString());
    world.folder.write(testing::uploadedReports / Uuid::random().toString(), "no folder");
    start();
    EXPECT_TRUE(reports.empty());

    std::filesystem::remove(folder / "manifest.json");
    upload.upload(world.folder);
    std::filesystem::rename(uploads(), world.folder / "elsewhere");
    std::filesystem::create_directory_symlink(world.folder / "elsewhere", uploads());
    start();
    EXPECT_TRUE(reports.empty()) << "the folder of all uploads is a link";
}

TEST_F(FieldReportReceiverTest, RenamingChangesTheWorkingCopyAlone) {
    upload.attach("a.jpg", "bytes").upload(world.folder);
    start();
    const std::string before = received() + uploaded();
    receiver->rename(reports.at(0), "Pier 4, roof");
    EXPECT_EQ(reports.at(0).title, "Pier 4, roof");
    EXPECT_EQ(received() + uploaded(), before);
    start();
    EXPECT_EQ(reports.at(0).title, "Pier 4, roof");
    receiver->rename(reports.at(0), "");
    EXPECT_EQ(reports.at(0).shownTitle(), "Untitled Field Report");

    const auto edits = FieldReportWorkingCopy::folderOf(world.layout(), upload.id);
    world.folder.write(edits / "draft.json", "[damaged");
    start();
    EXPECT_EQ(reports.at(0).title, "Roof survey") << "what was received is still there";
    EXPECT_THROW(receiver->rename(reports.at(0), "New"), FieldReportError);
}

TEST_F(FieldReportReceiverTest, TheStoreHandsChangesToTheReceiverOrSaysThatThereIsNone) {
    upload.upload(world.folder);
    start();
    CrumbStore store(world.platform(), world.layout(), LibraryAccess::writing);
    FieldReportEdits& edits = store.fieldReportEdits();
    const SaveFailure unavailable("Field Report receiver is unavailable.");
    EXPECT_EQ(edits.rename(reports.at(0), "New"), unavailable);
    EXPECT_EQ(edits.remove(reports.at(0)), unavailable);
    EXPECT_EQ(reports.at(0).title, "Roof survey");
    edits.setReceiver(receiver.get());
    EXPECT_EQ(edits.rename(reports.at(0), "New"), SaveFailure());
    EXPECT_EQ(reports.at(0).title, "New");
    auto elsewhere = reports.at(0);
    elsewhere.folderURL = world.folder.path();
    EXPECT_EQ(edits.remove(elsewhere).message(), "Unexpected Field Report location.");
    EXPECT_EQ(edits.remove(reports.at(0)), SaveFailure());
    EXPECT_TRUE(reports.empty());
}

TEST_F(FieldReportReceiverTest, DeletedReportsStayDeleted) {
    upload.attach("a.jpg", "bytes").upload(world.folder);
    start();
    const std::string before = uploaded();
    receiver->rename(reports.at(0), "Other");
    receiver->remove(reports.at(0));
    EXPECT_TRUE(reports.empty());
    world.time.advance(20);
    start();
    EXPECT_TRUE(reports.empty());
    EXPECT_EQ(uploaded(), before);
    EXPECT_EQ(world.folder.filesBelow("trash").size(), 3u) << "manifest, attachment, draft";
    EXPECT_EQ(world.folder.filesBelow("data/Crumb/FieldReports"),
              std::vector<std::string>{".DeletedFieldReports.json"});

    world.folder.write("data/Crumb/FieldReports/.DeletedFieldReports.json", "[\"half");
    start();
    EXPECT_TRUE(reports.empty()) << "nothing comes back on doubt";
    EXPECT_EQ(importErrors(), 1u);
}

TEST_F(FieldReportReceiverTest, NothingOutsideTheShelfIsRenamedOrDeleted) {
    upload.upload(world.folder);
    start();
    auto elsewhere = reports.at(0);
    world.folder.write("other/" + elsewhere.id.toString() + "/manifest.json", "x");
    elsewhere.folderURL = world.folder / "other" / elsewhere.id.toString();
    const auto expectRefusal = [&](const NookeryReceivedFieldReport& report) {
        EXPECT_THROW(receiver->rename(report, "New"), FieldReportError);
        EXPECT_THROW(receiver->remove(report), FieldReportError);
    };
    expectRefusal(elsewhere);
    const Path own = reports.at(0).folderURL;
    std::filesystem::rename(own, world.folder / "moved");
    std::filesystem::create_symlink(elsewhere.folderURL, own);
    expectRefusal(reports.at(0));
    EXPECT_EQ(world.folder.filesBelow("other").size(), 1u);
}

TEST_F(FieldReportReceiverTest, WhateverFailsTheNextLookTakesTheReportWhole) {
    upload.attach("a.jpg", std::string(100000, 'a')).attach("b.jpg", "b").upload(world.folder);
    const std::string before = uploaded();
    for (const auto fault :
         {testing::Fault::fail, testing::Fault::diskFull, testing::Fault::crash}) {
        for (int k = 1;; ++k) {
            world.files.arm(fault, k);
            try {
                start();
            } catch (const testing::SimulatedCrash&) {
                // Whatever crashed at the start itself; else it ended the look.
            }
            if (fault == testing::Fault::crash) world.files.losePower();
            const bool wasReached = world.files.operationCount() >= k;
            world.files.disarm();
            receiver.reset();
            world.time.settle();
            start();
            world.time.advance(20);
            ASSERT_EQ(reports.size(), 1u) << k;
            EXPECT_EQ(readWholeFile(world.files, reports[0].attachments[0].url, 200000),
                      std::string(100000, 'a'));
            EXPECT_EQ(world.folder.filesBelow("data/Crumb/FieldReports").size(), 3u) << k;
            EXPECT_EQ(uploaded(), before);
            receiver.reset();
            std::filesystem::remove_all(world.layout().fieldReports());
            if (!wasReached) break;
        }
    }
}

}  // namespace
}  // namespace nookery
