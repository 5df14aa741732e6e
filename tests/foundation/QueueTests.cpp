#include "foundation/Queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <stdexcept>

#include "foundation/RepeatingTimer.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;

TEST(SerialQueue, RunsBlocksInOrderAndDrainsOnDestruction) {
    std::vector<int> order;
    {
        SerialQueue queue("com.varnelle.test.serial");
        for (int i = 0; i < 1000; ++i) queue.async([&order, i] { order.push_back(i); });
    }
    ASSERT_EQ(order.size(), 1000U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(SerialQueue, SyncSeesWhatWasQueuedBeforeAndHandsOnResultsAndErrors) {
    SerialQueue queue("com.varnelle.test.serial");
    int counter = 0;
    for (int i = 0; i < 10; ++i) queue.async([&counter] { ++counter; });
    EXPECT_EQ(queue.sync([&counter] { return counter; }), 10);
    EXPECT_TRUE(queue.sync([&queue] { return queue.isCurrent(); }));
    EXPECT_FALSE(queue.isCurrent());
    EXPECT_THROW(queue.sync([] { throw std::runtime_error("no"); }), std::runtime_error);
}

TEST(ConcurrentQueue, RunsAsManyBlocksAtOnceAsItIsWide) {
    std::latch meeting(3);
    {
        ConcurrentQueue queue("com.varnelle.test.concurrent", 3);
        for (int i = 0; i < 3; ++i) queue.async([&meeting] { meeting.arrive_and_wait(); });
    }
    EXPECT_TRUE(meeting.try_wait());
}

TEST(RepeatingTimer, TicksAtItsRateAndStops) {
    SerialQueue queue("com.varnelle.test.timer");
    std::atomic<int> ticks = 0;
    std::latch five(5);
    const auto start = std::chrono::steady_clock::now();
    {
        RepeatingTimer timer(queue, 10ms, 10ms, [&] {
            if (++ticks <= 5) five.count_down();
        });
        five.wait();
        EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
        queue.sync([] {});
    }
    queue.sync([] {});
    const int atEnd = ticks;
    queue.sync([] { std::this_thread::sleep_for(30ms); });
    EXPECT_EQ(ticks, atEnd);
}

TEST(RepeatingTimer, LeavesOutTicksWhileTheQueueIsBusy) {
    SerialQueue queue("com.varnelle.test.timer");
    SerialQueue other("com.varnelle.test.other");
    std::latch release(1);
    std::atomic<int> ticks = 0;
    std::atomic<int> otherTicks = 0;
    std::latch manyElsewhere(1);
    queue.async([&release] { release.wait(); });
    const RepeatingTimer timer(queue, 1ms, 1ms, [&ticks] { ++ticks; });
    // A timer of the same rate on an idle queue tells how many ticks have come due.
    const RepeatingTimer reference(other, 1ms, 1ms, [&] {
        if (++otherTicks == 50) manyElsewhere.count_down();
    });
    manyElsewhere.wait();
    std::atomic<int> ticksOfBusyStretch = -1;
    queue.async([&] { ticksOfBusyStretch = ticks.load(); });
    release.count_down();
    queue.sync([] {});
    // One for all that came due, and those of the time that the queue waited for a processor.
    EXPECT_GE(ticksOfBusyStretch, 1);
    EXPECT_LT(ticksOfBusyStretch, 20);
}

}  // namespace
}  // namespace varnelle
