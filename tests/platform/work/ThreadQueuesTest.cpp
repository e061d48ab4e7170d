#include "platform/work/ThreadQueues.h"

#include <gtest/gtest.h>

#include "support/VirtualWorld.h"

namespace nookery {
namespace {

TEST(WorkQueues, RunInOrderAndRethrowFromSync) {
    testing::RecordingLog log;
    const auto queue = makeThreadQueue("test", log);
    std::vector<int> order;
    for (int i = 0; i < 100; ++i) queue->async([&order, i] { order.push_back(i); });
    queue->async([] { throw std::runtime_error("lost"); });
    EXPECT_THROW(queue->sync([] { throw std::runtime_error("seen"); }), std::runtime_error);
    EXPECT_EQ(order.size(), 100u);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_TRUE(log.contains("lost"));
}

TEST(WorkQueues, CancelledWorkDoesNotRun) {
    testing::RecordingLog log;
    const auto loop = makeLoopQueue(log);
    bool ran = false;
    bool done = false;
    auto work = loop->after(WorkQueue::Delay(0.001), [&] { ran = true; });
    work.cancel();
    loop->after(WorkQueue::Delay(0.01), [&] { done = true; });
    loop->runUntil([&] { return done; });
    EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace nookery
