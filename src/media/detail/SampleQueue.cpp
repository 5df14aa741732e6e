#include "media/detail/SampleQueue.h"

#include <utility>

namespace varnelle::detail {

SampleQueue::SampleQueue(std::size_t capacity, std::int32_t timescale, std::shared_ptr<InputPacing> pacing)
    : capacity_(capacity), timescale_(timescale), pacing_(std::move(pacing)) {}

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
    if (!sessionStart_ || isFinished_) return false;
    return isAbandoned_ || (samples_.size() < capacity_ && (!pacedTrack_ || pacing_->mayGoOn(*pacedTrack_)));
}

bool SampleQueue::append(const SampleBuffer& sample) {
    std::optional<std::size_t> track;
    CMTime time;
    {
        const std::lock_guard lock(mutex_);
        hasAppended_ = true;
        if (!hasRoom() || isAbandoned_ || !sample.presentationTime.isNumeric()) return false;
        time = sample.presentationTime - *sessionStart_;
        const std::int64_t ticks = time.converted(timescale_).value;
        if (time < kCMTimeZero || (lastTicks_ && ticks <= *lastTicks_)) return false;
        lastTicks_ = ticks;
        samples_.push_back(sample.retimed(time));
        track = pacedTrack_;
    }
    wakeUp_.notify_all();
    if (track) pacing_->advance(*track, time);
    return true;
}

void SampleQueue::requestMediaData(Queue& queue, std::function<void()> block) {
    const std::lock_guard lock(mutex_);
    requestQueue_ = &queue;
    requestBlock_ = std::move(block);
    if (!pacedTrack_ && !isFinished_) {
        pacedTrack_ = pacing_->join([weak = weak_from_this()] {
            const auto self = weak.lock();
            if (!self) return;
            const std::lock_guard selfLock(self->mutex_);
            self->wasWoken_ = true;
            self->requestIfReady();
        });
    }
    requestIfReady();
}

void SampleQueue::requestIfReady() {
    if (!requestBlock_ || isRequested_ || !hasRoom()) return;
    isRequested_ = true;
    hasAppended_ = false;
    wasWoken_ = false;
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
    // at once: that would keep a processor busy with asking. If it had no room because another track was
    // behind, and that has caught up before the block returned, nobody else would call it.
    if (hasAppended_ || wasWoken_) requestIfReady();
}

void SampleQueue::markAsFinished() {
    std::function<void()> block;
    {
        const std::lock_guard lock(mutex_);
        isFinished_ = true;
        block = std::exchange(requestBlock_, nullptr);
    }
    wakeUp_.notify_all();
    leavePacing();
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
    leavePacing();
}

void SampleQueue::leavePacing() {
    std::optional<std::size_t> track;
    {
        const std::lock_guard lock(mutex_);
        track = std::exchange(pacedTrack_, std::nullopt);
    }
    if (track) pacing_->leave(*track);
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
