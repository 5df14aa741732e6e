#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "media/Composition.h"
#include "media/FrameSource.h"
#include "media/detail/FrameGrid.h"

namespace varnelle::detail {

/// Decodes what one track of a composition shows at moment after moment, on a thread of its own that runs a
/// handful of frames ahead.
class TrackReader {
public:
    /// Opens the track's first source. `track` has to outlive this object. Throws `MediaError`.
    TrackReader(const CompositionTrack& track, FrameGrid grid);
    ~TrackReader();
    TrackReader(const TrackReader&) = delete;
    TrackReader& operator=(const TrackReader&) = delete;

    void start();
    /// Lets `next` return at once; any thread.
    void stop();
    /// What the track shows at the next moment of the grid, absent if that is nothing; waits for it. Throws
    /// what went wrong while decoding. For one thread.
    [[nodiscard]] std::optional<VideoFrame> next();
    [[nodiscard]] TrackID trackID() const { return track_.trackID(); }

private:
    void run();
    [[nodiscard]] std::optional<VideoFrame> frameAt(const CMTime& time);
    void openSource(const CompositionSegment& segment);

    const CompositionTrack& track_;
    const FrameGrid grid_;

    // thread only, once it is started
    std::unique_ptr<FrameSource> source_;
    std::shared_ptr<const MediaAsset> sourceAsset_;

    std::mutex mutex_;
    std::condition_variable wakeUp_;
    // guarded by mutex_
    std::deque<std::optional<VideoFrame>> frames_;
    std::exception_ptr error_;
    bool isStopping_ = false;

    std::thread thread_;
};

}  // namespace varnelle::detail
