#include "media/detail/SampleQueue.h"

#include <utility>

namespace varnelle::detail {

SampleQueue::SampleQueue(std::size_t capacity, std::int32_t timescale)
    : capacity_(capacity), timescale_(timescale) {}

void SampleQueue::start(const CMTime& sessionStart) {
    const std::lock_guard lock(mutex_);
    if (sessionStart_) return;
    sessionStart_ = sessionStart;
    requestIfReady();
}

bool SampleQueue::isReady() const {
    const std::lock_guard lock(mutex_);
    return hasRoom();
}

bool SampleQueue::hasRoom() const {
    return sessionStart_ && !isFinished_ && (isAbandoned_ || samples_.size() < capacity_);
}

bool SampleQueue::append(const SampleBuffer& sample) {
    {
        const std::lock_guard lock(mutex_);
        hasAppended_ = true;
        if (!hasRoom() || isAbandoned_ || !sample.presentationTime.isNumeric()) return false;
        const CMTime time = sample.presentationTime - *sessionStart_;
        const std::int64_t ticks = time.converted(timescale_).value;
        if (time < kCMTimeZero || (lastTicks_ && ticks <= *lastTicks_)) return false;
        lastTicks_ = ticks;
        samples_.push_back(sample.retimed(time));
    }
    wakeUp_.notify_all();
    return true;
}

void SampleQueue::requestMediaData(Queue& queue, std::function<void()> block) {
    const std::lock_guard lock(mutex_);
    requestQueue_ = &queue;
    requestBlock_ = std::move(block);
    requestIfReady();
}

void SampleQueue::requestIfReady() {
    if (!requestBlock_ || isRequested_ || !hasRoom()) return;
    isRequested_ = true;
    hasAppended_ = false;
    requestQueue_->async([self = shared_from_this()] { self->runBlock(); });
}

void SampleQueue::runBlock() {
    std::function<void()> block;
    {
        const std::lock_guard lock(mutex_);
        block = requestBlock_;
    }
    if (block) block();
    block = nullptr;
    const std::lock_guard lock(mutex_);
    isRequested_ = false;
    // A block that had nothing to append is called again when the encoder has taken the next sample, and not
    // at once: that would keep a processor busy with asking.
    if (hasAppended_) requestIfReady();
}

void SampleQueue::markAsFinished() {
    std::function<void()> block;
    {
        const std::lock_guard lock(mutex_);
        isFinished_ = true;
        block = std::exchange(requestBlock_, nullptr);
    }
    wakeUp_.notify_all();
}

void SampleQueue::abandon() {
    std::deque<SampleBuffer> dropped;
    {
        const std::lock_guard lock(mutex_);
        isAbandoned_ = true;
        dropped.swap(samples_);
        requestIfReady();
    }
    wakeUp_.notify_all();
}

std::optional<SampleBuffer> SampleQueue::pop() {
    std::unique_lock lock(mutex_);
    wakeUp_.wait(lock, [this] { return isFinished_ || isAbandoned_ || !samples_.empty(); });
    if (samples_.empty()) return std::nullopt;
    SampleBuffer sample = std::move(samples_.front());
    samples_.pop_front();
    requestIfReady();
    return sample;
}

bool SampleQueue::isAbandoned() const {
    const std::lock_guard lock(mutex_);
    return isAbandoned_;
}

}  // namespace varnelle::detail
