#include "media/detail/TrackReader.h"

#include <pthread.h>

#include <utility>

namespace varnelle::detail {
namespace {

/// Frames that are decoded ahead. Enough to hide a seek to the next cut, few enough for memory to stay small.
constexpr std::size_t kFramesDecodedAhead = 6;

}  // namespace

TrackReader::TrackReader(const CompositionTrack& track, FrameGrid grid) : track_(track), grid_(grid) {
    if (!track_.segments().empty()) openSource(track_.segments().front());
}

TrackReader::~TrackReader() {
    stop();
    if (thread_.joinable()) thread_.join();
}

void TrackReader::start() {
    thread_ = std::thread([this] { run(); });
}

void TrackReader::stop() {
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
    }
    wakeUp_.notify_all();
}

std::optional<VideoFrame> TrackReader::next() {
    std::optional<VideoFrame> frame;
    {
        std::unique_lock lock(mutex_);
        wakeUp_.wait(lock, [this] { return isStopping_ || error_ || !frames_.empty(); });
        if (frames_.empty()) {
            if (error_) std::rethrow_exception(error_);
            return std::nullopt;
        }
        frame = std::move(frames_.front());
        frames_.pop_front();
    }
    wakeUp_.notify_all();
    return frame;
}

void TrackReader::run() {
    pthread_setname_np(pthread_self(), "read-track");
    for (std::int64_t i = 0; i < grid_.count(); ++i) {
        std::optional<VideoFrame> frame;
        std::exception_ptr error;
        try {
            frame = frameAt(grid_.time(i));
        } catch (...) {
            error = std::current_exception();
        }
        {
            std::unique_lock lock(mutex_);
            wakeUp_.wait(lock, [this] { return isStopping_ || frames_.size() < kFramesDecodedAhead; });
            if (isStopping_) return;
            if (error) {
                error_ = error;
            } else {
                frames_.push_back(std::move(frame));
            }
        }
        wakeUp_.notify_all();
        if (error) return;
    }
}

std::optional<VideoFrame> TrackReader::frameAt(const CMTime& time) {
    const CompositionSegment* segment = track_.segment(time);
    if (segment == nullptr) return std::nullopt;
    openSource(*segment);
    return source_->frame(segment->sourceTime(time));
}

void TrackReader::openSource(const CompositionSegment& segment) {
    if (source_ && sourceAsset_ == segment.asset &&
        source_->track().streamIndex == segment.sourceTrack.streamIndex) {
        return;
    }
    source_.reset();
    source_ = std::make_unique<FrameSource>(segment.asset, segment.sourceTrack);
    sourceAsset_ = segment.asset;
}

}  // namespace varnelle::detail
