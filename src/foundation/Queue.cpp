#include "foundation/Queue.h"

#include <pthread.h>

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

void Queue::run() {
    pthread_setname_np(pthread_self(), threadName(label_).c_str());
    currentQueue = this;
    std::unique_lock lock(mutex_);
    while (true) {
        wakeUp_.wait(lock, [this] { return isStopping_ || !blocks_.empty(); });
        if (blocks_.empty()) return;
        std::function<void()> block = std::move(blocks_.front());
        blocks_.pop_front();
        lock.unlock();
        block();
        block = nullptr;
        lock.lock();
    }
}

void SerialQueue::assertNotCurrent() const {
    assert(!isCurrent() && "sync on the current queue never returns");
}

}  // namespace varnelle
