#pragma once

#include <cstdint>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <optional>

#include "foundation/Queue.h"
#include "media/VideoComposition.h"
#include "render/FramePainter.h"
#include "render/FramePlan.h"
#include "render/OverlayVideoCompositionInstruction.h"

namespace varnelle {

/// Renders the frames of a composition, for preview and export alike: plans a frame from the live look,
/// zoom-pan ranges and telemetry, then draws it. A frame whose plan and source picture are those of a recent
/// one is not drawn again but handed out again. All operations may be called on any thread.
class CustomVideoCompositor final : public VideoCompositing {
public:
    CustomVideoCompositor();

    void renderContextChanged(std::shared_ptr<VideoRenderContext> context) override;
    void startRequest(std::shared_ptr<VideoCompositionRequest> request) override;
    void cancelAllPendingRequests() override;

private:
    /// Everything that decides what a frame looks like. Holding the pictures keeps their memory from being
    /// reused, so that equal storage means equal pixels. They are as they were decoded: turned anew for each
    /// request, a picture that stands still would be another one each time.
    struct Ingredients {
        FramePlan plan;
        VideoFrame screen;
        CGAffineTransform screenTransform;
        VideoFrame camera;  ///< empty without a bubble
        CGAffineTransform cameraTransform;
        [[nodiscard]] bool isSame(const Ingredients& other) const;
    };
    /// A frame that was drawn lately or is being drawn.
    struct RecentFrame {
        Ingredients ingredients;
        std::shared_future<VideoFrame> output;
    };

    void renderFrame(VideoCompositionRequest& request, std::uint64_t generation);
    [[nodiscard]] bool isCancelled(std::uint64_t generation) const;
    /// Absent if the request was cancelled meanwhile.
    [[nodiscard]] std::optional<VideoFrame> frameFor(const Ingredients& ingredients,
                                                     VideoRenderContext& context, std::uint64_t generation);
    [[nodiscard]] std::shared_future<VideoFrame> recentFrame(const Ingredients& ingredients,
                                                             std::promise<VideoFrame>& promise, bool& isMine);
    void forget(const Ingredients& ingredients);

    FramePainter painter_;
    mutable std::mutex stateLock_;
    std::uint64_t cancelGeneration_ = 0;  // guarded by stateLock_
    std::mutex contextLock_;
    std::shared_ptr<VideoRenderContext> renderContext_;  // guarded by contextLock_
    CGSize lastRenderSize_;                              // guarded by contextLock_
    std::mutex recentLock_;
    std::deque<RecentFrame> recentFrames_;  // guarded by recentLock_
    ConcurrentQueue renderQueue_;           // last: its threads use everything above
};

/// Plans the frame of a composition at a moment of its timeline, from a screen picture of the given size and,
/// unless `hasCameraFrame` is false, a camera picture.
FramePlan planFrame(const OverlayVideoCompositionInstruction& instruction, const CMTime& compositionTime,
                    CGSize sourceSize, CGSize canvas, bool hasCameraFrame);

}  // namespace varnelle
