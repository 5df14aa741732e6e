#include "foundation/RepeatingTimer.h"

namespace varnelle {

RepeatingTimer::RepeatingTimer(Queue& queue, std::chrono::nanoseconds firstDelay,
                               std::chrono::nanoseconds interval, std::function<void()> handler)
    : queue_(queue), tick_(std::make_shared<Tick>()) {
    tick_->handler = std::move(handler);
    thread_ = std::thread([this, firstDelay, interval] { run(firstDelay, interval); });
}

RepeatingTimer::~RepeatingTimer() {
    tick_->isCancelled = true;
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
    }
    wakeUp_.notify_all();
    thread_.join();
}

void RepeatingTimer::run(std::chrono::nanoseconds firstDelay, std::chrono::nanoseconds interval) {
    auto deadline = std::chrono::steady_clock::now() + firstDelay;
    std::unique_lock lock(mutex_);
    while (!wakeUp_.wait_until(lock, deadline, [this] { return isStopping_; })) {
        if (!tick_->isPending.exchange(true)) {
            queue_.async([tick = tick_] {
                tick->isPending = false;
                if (!tick->isCancelled) tick->handler();
            });
        }
        deadline += interval;
        // After a long stall (a suspended machine) the missed ticks are not made up for.
        const auto now = std::chrono::steady_clock::now();
        if (deadline < now) deadline = now + interval;
    }
}

}  // namespace varnelle
