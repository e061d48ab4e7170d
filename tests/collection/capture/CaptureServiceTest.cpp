#include "collection/capture/CaptureService.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "collection/capture/CaptureWork.h"
#include "foundation/Text.h"
#include "platform/WebFetcher.h"
#include "platform/work/Caller.h"
#include "support/CaptureHarness.h"

namespace nookery {
namespace {

using testing::CaptureHarness;
using testing::Fault;
using testing::SimulatedCrash;
using testing::TestPlatform;

class CaptureServiceTest : public ::testing::Test {
  protected:
    Path write(const Path& name, std::string_view content) {
        return world_.folder.write(Path("source") / name, content);
    }

    TestPlatform world_;
    CaptureHarness capture_{world_};
};

TEST_F(CaptureServiceTest, EachRequestIsDoneForItsOwnCallerThoughItWaitedForAnothers) {
    std::vector<const Caller*> callers;
    const auto note = [&] {
        const Caller* now = CallerScope::current().get();
        if (callers.empty() || callers.back() != now) callers.push_back(now);
    };
    world_.contentTypes.beforeDetecting = note;
    const auto one = std::make_shared<const Caller>();
    const auto other = std::make_shared<const Caller>();
    const auto captureFor = [&](const std::shared_ptr<const Caller>& caller, const char* name) {
        const CallerScope scope(caller);
        return capture_.service.capture({.sources = {CaptureFile{write(name, name)}}});
    };
    const std::vector operations{captureFor(one, "a.txt"), captureFor(other, "b.txt"),
                                 captureFor(nullptr, "c.txt"), captureFor(one, "d.txt")};
    for (const auto& operation : operations) EXPECT_EQ(world_.resultOf(operation).added.size(), 1u);
    EXPECT_EQ(callers, (std::vector<const Caller*>{one.get(), other.get(), nullptr, one.get()}));
}

TEST_F(CaptureServiceTest, KindTitleAndTextComeFromTheContent) {
    const auto picture =
        capture_.only(capture_.add({CaptureFile{write("cat.txt", "\x89PNG cat")}}));
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->kind, CrumbKind::image);
    EXPECT_EQ(picture->title, "cat");
    EXPECT_EQ(*picture->filePath, world_.layout().items() / "cat.txt");

    const auto note = capture_.only(capture_.add({CaptureFile{write("notes.v2.md", "# Plums")}}));
    ASSERT_TRUE(note);
    EXPECT_EQ(note->kind, CrumbKind::file);
    EXPECT_EQ(note->title, "notes.v2");
    EXPECT_EQ(note->searchableText, "# Plums");

    const auto page = capture_.only(capture_.add(
        {CaptureFile{write("page.html", "<title>Plum jam</title><p>Boil &amp; stir</p>")}}));
    ASSERT_TRUE(page);
    EXPECT_EQ(page->title, "Plum jam");
    EXPECT_EQ(page->text, "Plum jam\nBoil & stir");

    const auto typed = capture_.only(capture_.add({CaptureText{"\n Call the plumber\n", "text"}}));
    ASSERT_TRUE(typed);
    EXPECT_EQ(typed->kind, CrumbKind::text);
    EXPECT_EQ(typed->title, "Call the plumber");
    EXPECT_EQ(typed->text, "\n Call the plumber\n");

    const auto link =
        capture_.only(capture_.add({CaptureLink{"https://www.Example.org/plum%20jam/", false}}));
    ASSERT_TRUE(link);
    EXPECT_EQ(link->kind, CrumbKind::url);
    EXPECT_EQ(link->title, "example.org/plum jam");
    EXPECT_EQ(link->urlString, "https://www.Example.org/plum%20jam/");

    const CaptureReport bad = capture_.add({CaptureText{" \n", "standard input"},
                                            CaptureText{"\xff\xfe\xfd\x01\x02", "standard input"},
                                            CaptureLink{"ftp://example.org/", false}});
    EXPECT_EQ(bad.failed.size(), 3u);
    EXPECT_EQ(capture_.disorder(), "");
}

TEST_F(CaptureServiceTest, TitleNoteTagsAndGroupOfTheRequestAreKept) {
    const Uuid group = Uuid::random();
    const CaptureReport report = capture_.run({.sources = {CaptureFile{write("a.html", "<p>x")}},
                                               .title = "Mine",
                                               .note = "see #jam",
                                               .tags = {"Kitchen"},
                                               .groupID = group});
    const auto item = capture_.only(report);
    ASSERT_TRUE(item);
    EXPECT_EQ(item->title, "Mine");
    EXPECT_EQ(item->note, "see #jam");
    EXPECT_EQ(item->groupID, group);
    EXPECT_EQ(capture_.tags[item->id], std::vector<std::string>{"Kitchen"});
}

TEST_F(CaptureServiceTest, WhatIsThereIsNotAddedAgain) {
    const Path original = write("a.txt", "plums");
    const auto first = capture_.only(capture_.add({CaptureFile{original}}));
    ASSERT_TRUE(first);
    const CaptureReport again =
        capture_.add({CaptureFile{write("b.txt", "plums")}, CaptureFile{write("c.txt", "pears")},
                      CaptureFile{write("d.txt", "pears")}});
    ASSERT_EQ(again.added.size(), 1u);
    ASSERT_EQ(again.duplicates.size(), 2u);
    EXPECT_EQ(again.duplicates[0].of, first->id);
    EXPECT_EQ(again.duplicates[1].of, again.added[0]);
    EXPECT_EQ(capture_.notices.back(), (IntakeNotice{IntakeNoticeKind::duplicate,
                                                     "Already in NOOKERY", "c", again.added[0]}));

    const CaptureReport links = capture_.add({CaptureLink{"http://EXAMPLE.org:80", false},
                                              CaptureLink{"http://example.org/", false},
                                              CaptureLink{"http://example.org/b", false}});
    EXPECT_EQ(links.added.size(), 2u);
    EXPECT_EQ(links.duplicates.size(), 1u);

    const CaptureReport texts =
        capture_.add({CaptureText{"plums", "text"}, CaptureText{"plums", "text"}});
    EXPECT_EQ(texts.added.size(), 2u) << "what was typed is never dropped";

    world_.realFiles->removeFile(*first->filePath);
    EXPECT_EQ(capture_.add({CaptureFile{original}}).added.size(), 1u)
        << "the memory that has this content lost its original";
}

TEST_F(CaptureServiceTest, OtherVersionsAreAddedAndAnnounced) {
    const CaptureReport report = capture_.add(
        {CaptureFile{write("Report final v2.pdf", "2")},
         CaptureFile{write("report_draft3.pdf", "3")}, CaptureFile{write("report.docx", "4")},
         CaptureFile{write("IMG_1234.jpg", "5")}, CaptureFile{write("IMG_1235.jpg", "6")}});
    ASSERT_EQ(report.added.size(), 5u);
    ASSERT_EQ(report.versions.size(), 1u);
    EXPECT_EQ(report.versions[0].id, report.added[1]);
    EXPECT_EQ(report.versions[0].of, report.added[0]);

    capture_.add({CaptureFile{write("Report.pdf", "7")}});
    EXPECT_EQ(capture_.notices.back().kind, IntakeNoticeKind::version);
    EXPECT_EQ(capture_.notices.back().title, "Looks like another version");

    const std::unordered_set<Uuid> removed(report.added.begin(), report.added.end());
    capture_.records.remove(removed);
    capture_.records.remove({capture_.notices.back().memoryID});
    capture_.service.forgetRemoved();
    EXPECT_TRUE(capture_.add({CaptureFile{write("report2.pdf", "8")}}).versions.empty());
}

TEST_F(CaptureServiceTest, OfManyOddFilesEachEndsInExactlyOneList) {
    std::set<std::string> sources;
    std::size_t expectedAdded = 0;
    std::size_t expectedDuplicates = 0;
    std::size_t expectedFailed = 0;
    const std::string longName(251, 'n');
    for (int i = 0; i < 300; ++i) {
        const std::string number = std::to_string(i);
        const Path folder = i % 3 == 0 ? Path("source") : Path("source") / ("deep" + number) / "er";
        Path name;
        std::string content = "content " + number;
        switch (i % 10) {
            case 0:
                name = ".hidden" + number;
                break;
            case 1:
                name = "ca\xE9\xFF" + number;
                break;
            case 2:
                name = "line\nfeed\x1b" + number;
                break;
            case 3:
                name = std::string(252 - number.size(), 'n') + number + "txt";
                break;
            case 4:
                name = "empty" + number, content = "";
                break;
            case 5:
                name = "same" + number, content = "same";
                break;
            case 6:
                name = "link" + number;
                break;
            case 7:
                name = "pipe" + number;
                break;
            case 8:
                name = "locked" + number;
                break;
            default:
                name = "image" + number + ".png", content = "\x89PNG" + number;
        }
        const Path path = world_.folder / folder / name;
        std::filesystem::create_directories(path.parent_path());
        if (i % 10 == 6) {
            std::filesystem::create_symlink("/etc/passwd", path);
        } else if (i % 10 == 7) {
            ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
        } else {
            world_.folder.write(folder / name, content);
        }
        if (i % 10 == 8) world_.files.makeUnreadable(path);
        sources.insert(displayName(path));
        const bool isKept = i % 10 < 4 || i % 10 == 9 || i == 4 || i == 5;
        (isKept ? expectedAdded : i % 10 < 6 ? expectedDuplicates : expectedFailed) += 1;
    }
    const CaptureReport report = capture_.add({CaptureFile{world_.folder / "source"}});
    EXPECT_EQ(report.added.size(), expectedAdded);
    EXPECT_EQ(report.duplicates.size(), expectedDuplicates);
    EXPECT_EQ(report.failed.size() + report.skipped.size(), expectedFailed);
    EXPECT_EQ(report.failed.size(), 30u) << "the unreadable ones";
    for (const auto& duplicate : report.duplicates) EXPECT_EQ(sources.erase(duplicate.source), 1u);
    for (const auto& message : report.failed) EXPECT_EQ(sources.erase(message.source), 1u);
    for (const auto& message : report.skipped) EXPECT_EQ(sources.erase(message.source), 1u);
    EXPECT_EQ(sources.size(), report.added.size());
    EXPECT_EQ(capture_.disorder(), "");
    for (const auto& record : *capture_.records.all()) {
        EXPECT_TRUE(isValidUtf8(*record->filePath));
        EXPECT_EQ(record->filePath->find('\n'), std::string::npos);
    }
}

TEST_F(CaptureServiceTest, TheLibraryIsNotMaterialAndANamedLinkIsFollowed) {
    write("inside/a.txt", "a");
    capture_.add({CaptureFile{world_.folder / "source"}});
    const CaptureReport around = capture_.add({CaptureFile{world_.folder.path()}});
    EXPECT_TRUE(around.added.empty());
    EXPECT_EQ(around.duplicates.size(), 1u);
    EXPECT_EQ(around.skipped.size(), 1u);
    EXPECT_EQ(capture_.add({CaptureFile{world_.layout().library()}}).failed.size(), 1u);

    std::filesystem::create_symlink(world_.folder / "source", world_.folder / "way");
    EXPECT_EQ(capture_.add({CaptureFile{world_.folder / "way"}}).duplicates.size(), 1u);
    std::filesystem::create_symlink(write("other.txt", "b"), world_.folder / "named.txt");
    const auto item = capture_.only(capture_.add({CaptureFile{world_.folder / "named.txt"}}));
    ASSERT_TRUE(item);
    EXPECT_EQ(item->title, "named");
    EXPECT_EQ(capture_.add({CaptureFile{world_.folder / "nowhere"}}).failed.size(), 1u);
}

TEST_F(CaptureServiceTest, StoppingKeepsWhatWasCommittedAndNothingElse) {
    for (int i = 0; i < 400; ++i) write("n" + std::to_string(i), std::to_string(i));
    std::stop_source stop;
    int commits = 0;
    capture_.afterCommit = [&] {
        if (++commits == 2) stop.request_stop();
    };
    const CaptureReport report =
        capture_.run({.sources = {CaptureFile{world_.folder / "source"}}}, stop.get_token());
    EXPECT_TRUE(report.cancelled);
    EXPECT_EQ(report.added.size(), capture_.records.size());
    EXPECT_GT(report.added.size(), 0u);
    EXPECT_LT(report.added.size(), 400u);
    EXPECT_EQ(capture_.disorder(), "");

    const CaptureReport rest = capture_.add({CaptureFile{world_.folder / "source"}});
    EXPECT_EQ(rest.added.size() + rest.duplicates.size(), 400u);
    EXPECT_EQ(capture_.records.size(), 400u);
    EXPECT_EQ(capture_.disorder(), "");
}

TEST_F(CaptureServiceTest, ARefusedCommitLeavesNothingBehind) {
    capture_.beforeCommit = [] { return SaveFailure("The disk is full."); };
    const std::vector<CaptureSource> sources{CaptureFile{write("a.txt", "a")},
                                             CaptureFile{write("b.txt", "a")}};
    const CaptureReport refused = capture_.add(sources);
    ASSERT_EQ(refused.failed.size(), 2u) << "a twin of what failed is no duplicate";
    EXPECT_EQ(refused.failed[0].message, "The disk is full.");
    EXPECT_EQ(capture_.disorder(), "");
    capture_.beforeCommit = nullptr;
    EXPECT_EQ(capture_.add(sources).added.size(), 1u);
}

TEST_F(CaptureServiceTest, ACopyThatDoesNotMatchIsRefused) {
    // The link makes the service look at the records between copying and reading back.
    capture_.beforeLook = [this] {
        const Path incoming = incomingFolder(world_.layout());
        for (const auto& entry : world_.realFiles->list(incoming)) {
            std::ofstream(incoming / entry.name, std::ios::app) << "!";
        }
    };
    const CaptureReport report =
        capture_.add({CaptureFile{write("a.txt", "a")}, CaptureLink{"http://example.org/", false}});
    ASSERT_EQ(report.failed.size(), 1u);
    EXPECT_NE(report.failed[0].message.find("does not match"), std::string::npos);
    EXPECT_EQ(report.added.size(), 1u);
    EXPECT_EQ(capture_.disorder(), "");
}

TEST_F(CaptureServiceTest, AReportNamesFilesAsTheyWereNamed) {
    const Path closed = write("inside/closed.txt", "closed");
    world_.files.makeUnreadable(closed);
    world_.files.makeUnreadable(write("locked/a.txt", "a").parent_path());
    const CaptureReport report =
        capture_.add({CaptureFile{.path = world_.folder / "source", .shownPath = "./source"},
                      CaptureFile{.path = world_.folder / "nowhere", .shownPath = "nowhere"}});
    std::vector<std::string> named;
    for (const auto& failure : report.failed) {
        named.push_back(failure.source);
        EXPECT_EQ(failure.message.find(world_.folder.path().native()), std::string::npos)
            << failure.message;
    }
    EXPECT_EQ(named, (std::vector<std::string>{"./source/inside/closed.txt", "./source/locked",
                                               "nowhere"}));
}

TEST_F(CaptureServiceTest, AFileThatKeepsChangingIsReportedAndOneThatComesToRestIsTaken) {
    const Path log = write("log.txt", "a");
    int changes = 2;
    world_.contentTypes.beforeDetecting = [&] {
        if (changes-- > 0) std::ofstream(log, std::ios::app) << "more";
    };
    const CaptureReport refused = capture_.add({CaptureFile{log}});
    ASSERT_EQ(refused.failed.size(), 1u);
    EXPECT_NE(refused.failed[0].message.find("changes while"), std::string::npos);
    changes = 1;
    const auto item = capture_.only(capture_.add({CaptureFile{log}}));
    ASSERT_TRUE(item);
    EXPECT_EQ(item->searchableText, "amoremoremore");
    EXPECT_EQ(capture_.disorder(), "");
}

class FakeWeb final : public WebFetcher {
  public:
    FetchedPage fetch(const std::string& url, std::stop_token) override {
        if (url.ends_with("gone")) throw Error("Could not fetch " + url + ".");
        return {"<title>Caf\xE9</title><p>Plum cake", "text/html", "windows-1252"};
    }
};

TEST(CaptureLinks, AreFetchedOnlyWhenAskedAndKeptWhenThatFails) {
    TestPlatform world;
    FakeWeb web;
    world.web = &web;
    CaptureHarness capture(world);
    const auto plain = capture.only(capture.add({CaptureLink{"http://example.org/a", false}}));
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->searchableText, "");
    const auto fetched = capture.only(capture.add({CaptureLink{"http://example.org/b", true}}));
    ASSERT_TRUE(fetched);
    EXPECT_EQ(fetched->title, "Café");
    EXPECT_EQ(fetched->searchableText, "Café\nPlum cake");
    const CaptureReport gone = capture.add({CaptureLink{"http://example.org/gone", true}});
    EXPECT_EQ(gone.added.size(), 1u);
    EXPECT_EQ(gone.warnings.size(), 1u);
}

TEST_F(CaptureServiceTest, ADamagedDocumentIsKeptWithAMessage) {
    const CaptureReport report = capture_.add({CaptureFile{write("a.testdoc", "damaged")}});
    EXPECT_EQ(report.added.size(), 1u);
    ASSERT_EQ(report.warnings.size(), 1u);
    EXPECT_EQ(capture_.disorder(), "");
}

TEST_F(CaptureServiceTest, ManyFilesOfOneNameGetNamesOfTheirOwn) {
    for (int i = 0; i < 100; ++i) write(std::to_string(i) + "/README", std::to_string(i));
    EXPECT_EQ(capture_.add({CaptureFile{world_.folder / "source"}}).added.size(), 100u);
    const auto names = capture_.namesInItems();
    EXPECT_TRUE(names.contains("README"));
    EXPECT_TRUE(names.contains("README (2)"));
    EXPECT_TRUE(names.contains("README (100)"));
}

/// Captures with a fault at each file operation in turn: few files, which are synced one by one,
/// or more, which are synced together.
class CaptureFaults : public ::testing::TestWithParam<std::tuple<Fault, int>> {};

TEST_P(CaptureFaults, AtEveryOperationLeaveOldOrNewAndTheNextStartGoesOn) {
    const auto [fault, moreFiles] = GetParam();
    // Among many files most steps are alike.
    for (int k = 1;; k += moreFiles == 0 ? 1 : 3) {
        TestPlatform world;
        std::vector<CaptureSource> sources{
            CaptureFile{world.folder.write("source/a.txt", "apples")},
            CaptureFile{world.folder.write("source/b/a.txt", "pears")},
            CaptureFile{world.folder.write("source/twin.txt", "apples")},
            CaptureLink{"http://example.org/", false}, CaptureText{"typed", "text"}};
        for (int i = 0; i < moreFiles; ++i) {
            const std::string number = std::to_string(i);
            sources.push_back(CaptureFile{world.folder.write("source/" + number, number)});
        }
        CaptureHarness killed(world);
        world.files.arm(fault, k);
        try {
            const CaptureReport report = killed.add(sources);
            EXPECT_EQ(report.added.size() + report.duplicates.size() + report.failed.size(),
                      sources.size());
            EXPECT_EQ(report.added.size(), killed.records.size());
            const std::string disorder = killed.disorder();
            EXPECT_TRUE(disorder.empty() || disorder == "nobody's: .nookery-tmp-incoming")
                << "step " << k << ": " << disorder;
        } catch (const SimulatedCrash&) {
            world.files.losePower();
        }
        const bool isReached = world.files.operationCount() >= k;

        TestPlatform restarted;
        CaptureHarness capture(restarted, world.layout());
        capture.records.add(*killed.records.all());
        capture.recover();
        EXPECT_EQ(capture.disorder(), "") << "step " << k;
        capture.add(sources);
        EXPECT_EQ(capture.disorder(), "") << "step " << k;
        std::set<std::string> texts;
        for (const auto& record : *capture.records.all()) texts.insert(record->searchableText);
        EXPECT_TRUE(texts.contains("apples") && texts.contains("pears")) << "step " << k;
        if (!isReached) {
            EXPECT_GT(k, 10);
            return;
        }
    }
}

TEST(CaptureCrash, AroundTheCommitLeavesTheWholeMemoryOrNothing) {
    for (const bool isCommitted : {false, true}) {
        TestPlatform world;
        const CaptureFile source{world.folder.write("source/a.txt", "apples")};
        CaptureHarness killed(world);
        const auto crash = []() -> SaveFailure { throw SimulatedCrash{}; };
        if (isCommitted) killed.afterCommit = [] { throw SimulatedCrash{}; };
        if (!isCommitted) killed.beforeCommit = crash;
        EXPECT_THROW(killed.add({source}), SimulatedCrash);
        EXPECT_EQ(killed.namesInItems().count("a.txt"), 1u);

        TestPlatform restarted;
        CaptureHarness capture(restarted, world.layout());
        capture.records.add(*killed.records.all());
        world.folder.write("data/Crumb/Items/foreign.txt", "not ours");
        const Path foreign("Items/foreign.txt");
        capture.sidecar.addPendingOriginals({&foreign, 1});
        capture.recover();
        EXPECT_EQ(capture.namesInItems().count("a.txt"), isCommitted ? 1u : 0u);
        EXPECT_EQ(capture.namesInItems().count("foreign.txt"), 1u) << "not what was noted";
        EXPECT_TRUE(capture.sidecar.pendingOriginals().empty());
        EXPECT_EQ(capture.add({source}).duplicates.size(), isCommitted ? 1u : 0u);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, CaptureFaults,
                         ::testing::Combine(::testing::Values(Fault::fail, Fault::diskFull,
                                                              Fault::crash),
                                            ::testing::Values(0, 7)));

}  // namespace
}  // namespace nookery
