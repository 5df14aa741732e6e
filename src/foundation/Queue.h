#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace varnelle {

/// A dispatch queue: blocks run in the order of arrival on threads of the queue's own, up to `width` at once.
/// `async` may be called on any thread. Destruction runs what is still waiting, then joins; a queue must not
/// be destroyed by one of its own blocks. A block must not throw.
class Queue {
public:
    /// `label` is a reverse-domain name; its tail becomes the threads' name.
    Queue(std::string label, std::size_t width);
    ~Queue();
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    void async(std::function<void()> block);
    /// Whether the caller runs on one of this queue's threads.
    [[nodiscard]] bool isCurrent() const;

private:
    friend class RepeatingTimer;

    /// A handler that comes due again and again. It runs on a thread of the queue's, which waits for it along
    /// with blocks: a thread of its own would wake twice as often.
    struct Timer {
        std::chrono::steady_clock::time_point deadline;  // guarded by the queue's mutex_
        std::chrono::nanoseconds interval{};
        std::function<void()> handler;
        std::atomic<bool> isCancelled = false;
    };

    void addTimer(std::shared_ptr<Timer> timer);
    void removeTimer(const std::shared_ptr<Timer>& timer);
    void run();
    /// The timer that comes due first; null without timers. With the mutex held.
    [[nodiscard]] std::shared_ptr<Timer> nextTimer() const;

    const std::string label_;
    std::mutex mutex_;
    std::condition_variable wakeUp_;
    std::deque<std::function<void()>> blocks_;    // guarded by mutex_
    std::vector<std::shared_ptr<Timer>> timers_;  // guarded by mutex_
    bool isStopping_ = false;                     // guarded by mutex_
    std::vector<std::thread> threads_;
};

/// Runs one block at a time.
class SerialQueue : public Queue {
public:
    explicit SerialQueue(std::string label) : Queue(std::move(label), 1) {}

    /// Runs a block on the queue, waits for it and hands on its result or exception. Called on the queue
    /// itself it would wait for ever, so it asserts that it isn't.
    template <typename Block>
    std::invoke_result_t<Block> sync(Block&& block) {
        assertNotCurrent();
        using Result = std::invoke_result_t<Block>;
        auto task = std::make_shared<std::packaged_task<Result()>>(std::forward<Block>(block));
        auto result = task->get_future();
        async([task] { (*task)(); });
        return result.get();
    }

private:
    void assertNotCurrent() const;
};

/// Runs several blocks at once.
class ConcurrentQueue : public Queue {
public:
    using Queue::Queue;
};

}  // namespace varnelle
