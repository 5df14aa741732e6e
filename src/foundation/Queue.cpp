#include "foundation/Queue.h"

#include <pthread.h>

#include <algorithm>
#include <cassert>
#include <string_view>

namespace varnelle {
namespace {

/// The queue that the calling thread belongs to.
thread_local const Queue* currentQueue = nullptr;

/// Linux keeps 15 characters of a thread's name; the tail of a label tells more than "com.varnelle.".
std::string threadName(const std::string& label) {
    constexpr std::size_t limit = 15;
    return label.size() > limit ? label.substr(label.size() - limit) : label;
}

}  // namespace

Queue::Queue(std::string label, std::size_t width) : label_(std::move(label)) {
    assert(width > 0);
    threads_.reserve(width);
    for (std::size_t i = 0; i < width; ++i) threads_.emplace_back([this] { run(); });
}

Queue::~Queue() {
    assert(!isCurrent());
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
    }
    wakeUp_.notify_all();
    for (std::thread& thread : threads_) thread.join();
}

void Queue::async(std::function<void()> block) {
    {
        const std::lock_guard lock(mutex_);
        blocks_.push_back(std::move(block));
    }
    wakeUp_.notify_one();
}

bool Queue::isCurrent() const {
    return currentQueue == this;
}

void Queue::addTimer(std::shared_ptr<Timer> timer) {
    {
        const std::lock_guard lock(mutex_);
        timers_.push_back(std::move(timer));
    }
    wakeUp_.notify_all();
}

void Queue::removeTimer(const std::shared_ptr<Timer>& timer) {
    const std::lock_guard lock(mutex_);
    std::erase(timers_, timer);
}

void Queue::run() {
    pthread_setname_np(pthread_self(), threadName(label_).c_str());
    currentQueue = this;
    std::unique_lock lock(mutex_);
    while (true) {
        const auto now = std::chrono::steady_clock::now();
        std::shared_ptr<Timer> timer = nextTimer();
        if (timer != nullptr && timer->deadline <= now) {
            timer->deadline += timer->interval;
            // What was missed during a long block, or by a suspended machine, is not made up for.
            if (timer->deadline < now) timer->deadline = now + timer->interval;
            lock.unlock();
            if (!timer->isCancelled) timer->handler();
            timer = nullptr;
            lock.lock();
        } else if (!blocks_.empty()) {
            std::function<void()> block = std::move(blocks_.front());
            blocks_.pop_front();
            lock.unlock();
            block();
            block = nullptr;
            lock.lock();
        } else if (isStopping_) {
            return;
        } else if (timer != nullptr) {
            // The timer's own deadline may change or go while the mutex is free.
            const auto deadline = timer->deadline;
            timer = nullptr;
            wakeUp_.wait_until(lock, deadline);
        } else {
            wakeUp_.wait(lock);
        }
    }
}

std::shared_ptr<Queue::Timer> Queue::nextTimer() const {
    const auto next = std::min_element(timers_.begin(), timers_.end(), [](const auto& a, const auto& b) {
        return a->deadline < b->deadline;
    });
    return next != timers_.end() ? *next : nullptr;
}

void SerialQueue::assertNotCurrent() const {
    assert(!isCurrent() && "sync on the current queue never returns");
}

}  // namespace varnelle
