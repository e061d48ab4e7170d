#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "backends/reader/Isolated.h"
#include "support/TemporaryDirectory.h"

namespace nookery {
namespace {

class HostileReader : public ::testing::Test {
  protected:
    std::string failureOf(const std::function<void()>& reading) {
        try {
            reading();
            return "none";
        } catch (const Cancelled&) {
            return "cancelled";
        } catch (const Error& error) {
            return error.description();
        }
    }

    void facts(const std::string& name) { images->facts(name, {"image/png"}, {}); }

    ReaderPool pool{{.programs = {"/nowhere/reader", NOOKERY_HOSTILE_READER}}};
    std::unique_ptr<ImageReader> images = makeIsolatedImages(pool);
};

TEST_F(HostileReader, EverySizeNumberAndTextItAnswersIsChecked) {
    for (const std::string name :
         {"nothing", "half a number", "unknown failure", "failure of no number", "month",
          "latitude", "not a number", "more than asked", "long text", "endless"}) {
        EXPECT_EQ(failureOf([&] { facts(name); }),
                  "\"" + name + "\" was given up: what was read from it makes no sense.");
        EXPECT_EQ(failureOf([&] { facts("honest"); }), "none") << "after " << name;
    }
    for (const std::string name : {"few pixels", "wide", "negative"}) {
        EXPECT_THROW(images->read(name, {"image/png"}, 100, {}, {}), ImageError) << name;
        EXPECT_THROW(makeIsolatedMedia(pool)->cover(name, 100, {}), MediaError) << name;
    }
    EXPECT_THROW(makeIsolatedPages(pool)->pagesWithoutText("backwards", {}, {}), DocumentError);
    const auto document = makeIsolatedDocuments(pool)->read("text", {"text/rtf"}, {}, {});
    EXPECT_EQ(document.title, "\xEF\xBF\xBD title");
}

TEST_F(HostileReader, OneThatEndsIsOneFailureAndTheNextRequestGetsAnother) {
    const std::string died =
        " was given up: it takes too much memory or crashes the program that reads it.";
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(failureOf([&] { facts("crash"); }), "\"crash\"" + died);
        EXPECT_EQ(failureOf([&] { facts("busy"); }), "\"busy\" was given up: it takes too long.");
        facts("honest");
        EXPECT_EQ(failureOf([&] { facts("leave"); }), "\"leave\"" + died);
    }
    const auto pages = makeIsolatedPages(pool);
    EXPECT_EQ(failureOf([&] { pages->pageCount("crash", {}); }),
              "\"crash\" was given up: it takes too much memory or crashes the PDF library.");
    EXPECT_EQ(failureOf([&] { pages->pageCount("busy", {}); }),
              "\"busy\" was given up: reading it takes more than half a minute.");
}

TEST_F(HostileReader, OneThatNeverAnswersIsLeftWhenTimeIsOverOrWhenAsked) {
    ReaderPool impatient({.programs = {NOOKERY_HOSTILE_READER},
                          .bounds = ReaderBounds{.time = std::chrono::seconds(0)}});
    EXPECT_EQ(failureOf([&] { makeIsolatedImages(impatient)->facts("sleep", {"image/png"}, {}); }),
              "\"sleep\" was given up: it takes too long.");
    const testing::TemporaryDirectory folder;
    const auto files = makePosixFileSystem();
    const Path begun = folder.write("sleep", "");  // goes when the reader has the request
    std::stop_source stop;
    std::jthread person([&] {
        while (files->status(begun)) std::this_thread::yield();
        stop.request_stop();
    });
    const auto reading = [&] { images->read(begun, {"image/png"}, 9, {}, stop.get_token()); };
    EXPECT_EQ(failureOf(reading), "cancelled");
    EXPECT_EQ(failureOf(reading), "cancelled") << "before anything is asked";
    EXPECT_EQ(failureOf([&] { facts("honest"); }), "none");
}

TEST_F(HostileReader, OneThatIsMissingOrCannotRunIsNamedAndNothingElseStops) {
    const testing::TemporaryDirectory folder;
    ReaderPool missing({.programs = {folder / "a", folder / "nookery-reader"}});
    const auto documents = makeIsolatedDocuments(missing);
    const std::string needs = "needs the program \"" + (folder / "nookery-reader").native();
    EXPECT_EQ(failureOf([&] { documents->read("plan.pdf", {"application/pdf"}, {}, {}); }),
              "\"plan.pdf\" " + needs + "\", which is missing. Install Nookery again.");
    EXPECT_TRUE(documents->canRead({"application/pdf"}));
    const Path reader = folder.write("nookery-reader", "not to be run");
    EXPECT_EQ(failureOf([&] {
                  makeIsolatedPictureEncoder(missing)->jpeg({1, 1, {0, 0, 0}});
              }),
              "The picture " + needs + "\", which could not be started: Permission denied.");
    ::chmod(reader.c_str(), 0700);
    const auto endingOf = [&](const std::string& status) {
        folder.write("nookery-reader", "#!/bin/sh\nexit " + status + "\n");
        return failureOf([&] { makeIsolatedPages(missing)->pageCount("plan.pdf", {}); });
    };
    EXPECT_NE(endingOf("127").find("which lacks a library."), std::string::npos);
    EXPECT_NE(endingOf("3").find("which is of another version by now."), std::string::npos);
}

TEST_F(HostileReader, OneProcessServesManyRequests) {
    facts("honest");
    auto process = pool.takeIdle(ReaderSubject::pictures);
    ASSERT_TRUE(process);
    const pid_t first = process->id();
    pool.giveBack(std::move(process));
    for (int i = 0; i < 100; ++i) facts("honest");
    process = pool.takeIdle(ReaderSubject::pictures);
    ASSERT_TRUE(process);
    EXPECT_EQ(process->id(), first);
    EXPECT_FALSE(pool.takeIdle(ReaderSubject::pictures));
}

TEST_F(HostileReader, GetsNoDescriptorOfTheProgram) {
    const int open = ::open("/dev/null", O_RDONLY);  // without the mark that closes it
    ASSERT_GT(open, 2);
    EXPECT_EQ(failureOf([&] { facts("descriptors"); }), "none");
    ::close(open);
}

TEST_F(HostileReader, ManyThreadsAreServedWhileSomeRequestsFail) {
    std::atomic<int> wrong = 0;
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back([&, i] {
                for (int round = 0; round < 20; ++round) {
                    const bool fails = (i + round) % 5 == 0;
                    const auto outcome = failureOf([&] { facts(fails ? "crash" : "honest"); });
                    if ((outcome == "none") == fails) ++wrong;
                }
            });
        }
    }
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace nookery
