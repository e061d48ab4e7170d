#include "platform/work/Coroutine.h"

#include <gtest/gtest.h>

#include "platform/work/ThreadQueues.h"
#include "support/VirtualWorld.h"

namespace nookery {
namespace {

class CoroutineTest : public ::testing::Test {
  protected:
    Coroutine<int> doubled(int value) {
        Callback<int> answer(*main, [&](const std::function<void(int)>& tell) {
            queue->async([this, value, tell] { main->async([value, tell] { tell(2 * value); }); });
        });
        co_return co_await answer;
    }
    Coroutine<std::string> sumOf(std::vector<int> values) {
        int sum = 0;
        for (const int value : values) {
            if (value < 0) throw Error("A value is negative.");
            sum += co_await doubled(value);
        }
        co_return std::to_string(sum);
    }
    template <typename Result>
    void run(Coroutine<Result>& coroutine) {
        bool hasEnded = false;
        coroutine.start([&] { hasEnded = true; });
        main->runUntil([&] { return hasEnded; });
    }

    testing::RecordingLog log;
    std::unique_ptr<LoopQueue> main = makeLoopQueue(log);
    std::unique_ptr<WorkQueue> queue = makeThreadQueue("work", log);
};

TEST_F(CoroutineTest, AnswersWhatItAwaitedAndHandsOnWhatItThrew) {
    auto sum = sumOf({1, 20, 300});
    run(sum);
    EXPECT_EQ(sum.result(), "642");
    auto failing = sumOf({4, -1});
    run(failing);
    EXPECT_THROW(failing.result(), Error);
}

TEST_F(CoroutineTest, OneThatIsDestroyedNeverGoesOnAndLetsGoOfWhatItHeld) {
    const auto held = std::make_shared<int>(0);
    std::function<void(int)> tell;
    bool wentOn = false;
    const auto waiting = [&](std::shared_ptr<int> own) -> Coroutine<> {
        Callback<int> answer(*main, [&](const std::function<void(int)>& told) { tell = told; });
        co_await answer;
        wentOn = own != nullptr;
    };
    {
        auto coroutine = waiting(held);
        coroutine.start([] {});
        EXPECT_EQ(held.use_count(), 2);
        tell(1);
    }
    EXPECT_EQ(held.use_count(), 1);
    tell(2);
    bool done = false;
    main->async([&] { done = true; });
    main->runUntil([&] { return done; });
    EXPECT_FALSE(wentOn);
}

TEST_F(CoroutineTest, TheFirstAnswerCounts) {
    Callback<int> twice(*main, [](const std::function<void(int)>& tell) {
        tell(1);
        tell(2);
    });
    const auto both = [&]() -> Coroutine<int> { co_return co_await twice; };
    auto coroutine = both();
    run(coroutine);
    EXPECT_EQ(coroutine.result(), 1);
}

}  // namespace
}  // namespace nookery
