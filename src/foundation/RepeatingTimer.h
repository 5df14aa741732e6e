#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "foundation/Queue.h"

namespace varnelle {

/// Calls a handler on a queue at a fixed rate. Deadlines are absolute, so the rate doesn't drift; a tick that
/// comes while the one before it still waits for the queue is left out.
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
    struct Tick {
        std::function<void()> handler;
        std::atomic<bool> isPending = false;
        std::atomic<bool> isCancelled = false;
    };

    void run(std::chrono::nanoseconds firstDelay, std::chrono::nanoseconds interval);

    Queue& queue_;
    std::shared_ptr<Tick> tick_;
    std::mutex mutex_;
    std::condition_variable wakeUp_;
    bool isStopping_ = false;  // guarded by mutex_
    std::thread thread_;
};

}  // namespace varnelle
