#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "foundation/Queue.h"

namespace varnelle {

/// Calls a handler on a queue at a fixed rate. Deadlines are absolute, so the rate doesn't drift; ticks
/// that come while the queue is busy become one, which goes before the blocks that wait.
///
/// Destruction ends the timer without waiting for the queue: no handler starts afterwards if the timer is
/// destroyed on its queue, and one may still be running if it is destroyed elsewhere. The queue must outlive
/// the timer.
class RepeatingTimer {
public:
    RepeatingTimer(Queue& queue, std::chrono::nanoseconds firstDelay, std::chrono::nanoseconds interval,
                   std::function<void()> handler);
    ~RepeatingTimer();
    RepeatingTimer(const RepeatingTimer&) = delete;
    RepeatingTimer& operator=(const RepeatingTimer&) = delete;

private:
    Queue& queue_;
    const std::shared_ptr<Queue::Timer> timer_;
};

}  // namespace varnelle
