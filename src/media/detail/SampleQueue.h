#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "foundation/Queue.h"
#include "media/SampleBuffer.h"
#include "media/detail/InputPacing.h"

namespace varnelle::detail {

/// The short queue between whoever appends samples and an encoder's thread. Safe to share between threads.
///
/// After a failure or a cancellation it swallows everything and always has room, so that whoever feeds it
/// runs dry and comes to the end instead of waiting for ever.
class SampleQueue : public std::enable_shared_from_this<SampleQueue> {
public:
    /// Times are told apart in ticks of `1 / timescale`. Once samples are pulled through `requestMediaData`,
    /// the queue keeps pace with the others of the movie that are.
    SampleQueue(std::size_t capacity, std::int32_t timescale, std::shared_ptr<InputPacing> pacing);

    /// From here on samples are taken; their times are counted from `sessionStart`.
    void start(const CMTime& sessionStart);
    [[nodiscard]] bool isReady() const;
    /// False if there is no room, the time doesn't grow, or the queue doesn't take samples (any more).
    [[nodiscard]] bool append(const SampleBuffer& sample);
    /// See `AssetWriterInput::requestMediaDataWhenReady`.
    void requestMediaData(Queue& queue, std::function<void()> block);
    void markAsFinished();
    /// Drops what waits and lets the encoder's thread end.
    void abandon();

    /// The next sample, retimed to the start of the session; waits for it. Absent at the end.
    [[nodiscard]] std::optional<SampleBuffer> pop();
    [[nodiscard]] bool isAbandoned() const;

private:
    [[nodiscard]] bool hasRoom() const;
    void requestIfReady();
    void runBlock();
    void leavePacing();

    const std::size_t capacity_;
    const std::int32_t timescale_;
    const std::shared_ptr<InputPacing> pacing_;  // asked with mutex_ held, told without

    mutable std::mutex mutex_;
    std::condition_variable wakeUp_;
    // guarded by mutex_
    std::deque<SampleBuffer> samples_;
    std::optional<CMTime> sessionStart_;
    std::optional<std::int64_t> lastTicks_;
    bool isFinished_ = false;
    bool isAbandoned_ = false;
    Queue* requestQueue_ = nullptr;
    std::function<void()> requestBlock_;
    bool isRequested_ = false;  // a call of the block waits or runs
    bool hasAppended_ = false;  // since the block was called last, like the next
    bool wasWoken_ = false;     // by the pacing
    std::optional<std::size_t> pacedTrack_;
};

}  // namespace varnelle::detail
