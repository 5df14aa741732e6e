#include "foundation/RepeatingTimer.h"

#include <utility>

namespace varnelle {

RepeatingTimer::RepeatingTimer(Queue& queue, std::chrono::nanoseconds firstDelay,
                               std::chrono::nanoseconds interval, std::function<void()> handler)
    : queue_(queue), timer_(std::make_shared<Queue::Timer>()) {
    timer_->deadline = std::chrono::steady_clock::now() + firstDelay;
    timer_->interval = interval;
    timer_->handler = std::move(handler);
    queue_.addTimer(timer_);
}

RepeatingTimer::~RepeatingTimer() {
    timer_->isCancelled = true;
    queue_.removeTimer(timer_);
}

}  // namespace varnelle
