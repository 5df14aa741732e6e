#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "foundation/CMTime.h"
#include "foundation/Geometry.h"
#include "media/Composition.h"
#include "media/VideoFrame.h"

namespace varnelle {

/// What a compositor needs to know about a stretch of a composition. Immutable once it is handed to a reader.
class VideoCompositionInstruction {
public:
    virtual ~VideoCompositionInstruction() = default;
    [[nodiscard]] virtual CMTimeRange timeRange() const = 0;
    /// Tracks whose frames a request has to bring.
    [[nodiscard]] virtual std::vector<TrackID> requiredSourceTrackIDs() const = 0;
};

/// Size of the output frames, and where to get them. Safe to share between threads.
class VideoRenderContext {
public:
    /// `renderSize` is the composition's, in pixels; frames have `renderScale` of its sides, rounded down.
    /// Throws `MediaError` (`unsupportedSize`) unless all sides are between 2 and 16384.
    explicit VideoRenderContext(CGSize renderSize, double renderScale = 1);

    /// Of the frames, in pixels.
    [[nodiscard]] CGSize size() const { return size_; }
    /// What the composition is laid out for. Its picture is drawn smaller by the scale.
    [[nodiscard]] CGSize renderSize() const { return renderSize_; }
    [[nodiscard]] double renderScale() const { return renderScale_; }
    /// A BGRA frame to be filled; its contents are undefined.
    [[nodiscard]] VideoFrame newPixelBuffer() { return pool_.newFrame(); }

private:
    CGSize renderSize_;
    double renderScale_;
    CGSize size_;
    VideoFramePool pool_;
};

/// One output frame that is wanted. Exactly one of the three `finish` calls must come, on any thread.
class VideoCompositionRequest {
public:
    virtual ~VideoCompositionRequest() = default;
    [[nodiscard]] virtual CMTime compositionTime() const = 0;
    [[nodiscard]] virtual std::shared_ptr<const VideoCompositionInstruction> instruction() const = 0;
    /// Null if there is no context.
    [[nodiscard]] virtual std::shared_ptr<VideoRenderContext> renderContext() const = 0;
    /// The track's frame at the composition time: the last one at or before the matching source time. Absent
    /// where the track has none.
    [[nodiscard]] virtual std::optional<VideoFrame> sourceFrame(TrackID track) const = 0;

    virtual void finish(const VideoFrame& composedFrame) = 0;
    virtual void finish(const std::exception_ptr& error) = 0;
    virtual void finishCancelledRequest() = 0;
};

/// Composes output frames from source frames. Requests may be started while earlier ones are in work and may
/// be finished in any order.
class VideoCompositing {
public:
    virtual ~VideoCompositing() = default;
    virtual void renderContextChanged(std::shared_ptr<VideoRenderContext> context) = 0;
    /// Returns at once; the work is done on threads of the compositor's own.
    virtual void startRequest(std::shared_ptr<VideoCompositionRequest> request) = 0;
    virtual void cancelAllPendingRequests() = 0;
};

/// How a composition's video tracks become one picture. Each reader or player makes a compositor of its own.
struct VideoComposition {
    std::function<std::shared_ptr<VideoCompositing>()> makeCompositor;
    std::shared_ptr<const VideoCompositionInstruction> instruction;
    CGSize renderSize;  ///< pixels
    CMTime frameDuration;
    ColorDescription color = ColorDescription::bt709Limited();
};

}  // namespace varnelle
