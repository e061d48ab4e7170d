#include "platform/work/Operation.h"

#include <gtest/gtest.h>

#include "platform/work/ThreadQueues.h"
#include "support/VirtualWorld.h"

namespace nookery {
namespace {

/// Real queues on real threads, so that the thread sanitizer sees what they share.
class WorkTest : public ::testing::Test {
  protected:
    template <typename Result>
    void waitFor(const Operation<Result>& operation) {
        main->runUntil([&] { return operation.isFinished(); });
    }

    testing::RecordingLog log;
    std::unique_ptr<LoopQueue> main = makeLoopQueue(log);
    std::unique_ptr<WorkQueue> queue = makeThreadQueue("work", log);
};

TEST_F(WorkTest, TaskAnswersOnMainWithWhateverBecameOfIt) {
    const CallbackGuard owner;
    std::vector<std::string> answers;
    const auto answer = [&](const auto& outcome) {
        answers.push_back(outcome.isDone()      ? "done"
                          : outcome.isStopped() ? "stopped"
                                                : outcome.failure()->message);
    };
    const auto run = [&](auto work) { Task::run(*queue, *main, owner, work, answer); };
    run([] { return 7; });
    run([]() -> int { throw Cancelled(); });
    run([] { throw Error("The disk is full."); });
    run([] { throw std::bad_alloc(); });
    run([] { throw 3; });
    main->runUntil([&] { return answers.size() == 5; });
    EXPECT_EQ(answers[0], "done");
    EXPECT_EQ(answers[1], "stopped");
    EXPECT_EQ(answers[2], "The disk is full.");
    EXPECT_EQ(answers[3], "This takes more memory than there is.");
    EXPECT_FALSE(answers[4].empty());
}

TEST_F(WorkTest, TaskWithoutItsOwnerAnswersNothing) {
    bool answered = false;
    {
        const CallbackGuard owner;
        Task::run(
            *queue, *main, owner, [] {}, [&](const auto&) { answered = true; });
    }
    queue->sync([] {});
    bool done = false;
    main->async([&] { done = true; });
    main->runUntil([&] { return done; });
    EXPECT_FALSE(answered);
}

TEST_F(WorkTest, OperationTellsItsLatestProgressAndOneOutcome) {
    const auto operation =
        startOperation(*queue, *main, [](const OperationControl& control) -> int {
            for (std::uint64_t i = 1; i <= 10'000; ++i) control.report({"counting", i, 10'000});
            return 7;
        });
    std::vector<std::uint64_t> seen;
    const auto watching = operation->progress().subscribe([&](const auto& progress) {
        if (progress) seen.push_back(progress->done);
    });
    int endings = 0;
    operation->whenFinished([&](const auto& outcome) { endings += outcome.get() == 7 ? 1 : 100; });
    waitFor(*operation);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(endings, 1);
    operation->whenFinished([&](const auto&) { ++endings; });
    EXPECT_EQ(endings, 2) << "who comes late is told at once";
}

TEST_F(WorkTest, StoppedOperationsSaySoAndFailedOnesCarryTheirAdvice) {
    const auto stopped = startOperation(*queue, *main, [](const OperationControl& control) {
        while (!control.isStopRequested()) std::this_thread::yield();
        control.throwIfStopped();
    });
    stopped->stop();
    waitFor(*stopped);
    EXPECT_TRUE(stopped->outcome()->isStopped());
    EXPECT_THROW(stopped->outcome()->get(), Cancelled);

    const auto failed = startOperation(*queue, *main, [](const OperationControl&) {
        throw Error("The folder is full.", "Make room in it.");
    });
    waitFor(*failed);
    ASSERT_NE(failed->failure(), nullptr);
    EXPECT_EQ(failed->failure()->message, "The folder is full.");
    EXPECT_EQ(failed->failure()->advice, "Make room in it.");
}

TEST_F(WorkTest, ForgottenOperationStillRunsToItsEnd) {
    std::atomic<bool> ran = false;
    startOperation(*queue, *main, [&](const OperationControl& control) {
        control.report({"working", 1, 1});
        ran = true;
    });
    queue->sync([] {});
    bool done = false;
    main->async([&] { done = true; });
    main->runUntil([&] { return done; });
    EXPECT_TRUE(ran);
}

}  // namespace
}  // namespace nookery
