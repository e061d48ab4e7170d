#include "platform/work/Caller.h"

#include <gtest/gtest.h>

#include "platform/work/Coroutine.h"
#include "platform/work/Task.h"
#include "platform/work/ThreadQueues.h"
#include "support/VirtualWorld.h"

namespace nookery {
namespace {

class CallerTest : public ::testing::Test {
  protected:
    static std::shared_ptr<const Caller> in(const std::string& zone) {
        return std::make_shared<Caller>(Caller{Region({zone, "en_US"}), {}});
    }
    static int hour() { return localFields({0}).hour; }

    testing::RecordingLog log;
    std::unique_ptr<LoopQueue> main = makeLoopQueue(log);
    std::unique_ptr<WorkQueue> queue = makeThreadQueue("work", log);
    const int hourHere = hour();
};

TEST_F(CallerTest, IsHandedOnToWorkElsewhereAndItsAnswerButNotToWhatIsDoneLater) {
    std::vector<int> hours;
    {
        const CallerScope scope(in("Asia/Tokyo"));
        main->after(WorkQueue::Delay(0.01), [&] { hours.push_back(hour()); });
        Task::run(
            *queue, *main, [] { return hour(); },
            [&](const Outcome<int>& there) {
                hours.push_back(there.get());
                hours.push_back(hour());
            });
    }
    EXPECT_EQ(hour(), hourHere);
    main->runUntil([&] { return hours.size() == 3; });
    std::sort(hours.begin(), hours.end());
    std::vector<int> expected{9, 9, hourHere};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(hours, expected);
}

TEST_F(CallerTest, ACoroutineGoesOnForItsOwnCallerWhoeverWakesIt) {
    std::function<void(int)> wake;
    std::vector<int> hours;
    const auto waiting = [&]() -> Coroutine<> {
        Callback<int> answer(*main, [&](const std::function<void(int)>& told) { wake = told; });
        co_await answer;
        hours.push_back(hour());
    };
    auto coroutine = waiting();
    {
        const CallerScope scope(in("Asia/Tokyo"));
        coroutine.start([] {});
    }
    {
        const CallerScope other(in("America/New_York"));
        wake(1);
    }
    main->runUntil([&] { return !hours.empty(); });
    EXPECT_EQ(hours, std::vector<int>{9});
}

}  // namespace
}  // namespace nookery
