#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

#include "media/VideoComposition.h"

namespace varnelle::detail {

/// The pictures of a composition's tracks at one moment; absent where a track has none.
using SourceFrames = std::vector<std::pair<TrackID, std::optional<VideoFrame>>>;

struct RequestCancelled {};
/// What becomes of a request.
using RequestAnswer = std::variant<VideoFrame, std::exception_ptr, RequestCancelled>;

/// A request whose source frames have been decoded. It tells the first answer only, and an error if it is
/// dropped without one.
class FrameRequest final : public VideoCompositionRequest {
public:
    /// `onAnswer` is called once, on any thread.
    FrameRequest(CMTime time, std::shared_ptr<const VideoCompositionInstruction> instruction,
                 std::shared_ptr<VideoRenderContext> context, SourceFrames frames,
                 std::function<void(RequestAnswer)> onAnswer);
    ~FrameRequest() override;
    FrameRequest(const FrameRequest&) = delete;
    FrameRequest& operator=(const FrameRequest&) = delete;

    [[nodiscard]] CMTime compositionTime() const override { return time_; }
    [[nodiscard]] std::shared_ptr<const VideoCompositionInstruction> instruction() const override {
        return instruction_;
    }
    [[nodiscard]] std::shared_ptr<VideoRenderContext> renderContext() const override { return context_; }
    [[nodiscard]] std::optional<VideoFrame> sourceFrame(TrackID track) const override;

    void finish(const VideoFrame& composedFrame) override { answer(composedFrame); }
    void finish(const std::exception_ptr& error) override { answer(error); }
    void finishCancelledRequest() override { answer(RequestCancelled{}); }

private:
    void answer(RequestAnswer answer);

    const CMTime time_;
    const std::shared_ptr<const VideoCompositionInstruction> instruction_;
    const std::shared_ptr<VideoRenderContext> context_;
    const SourceFrames frames_;
    const std::function<void(RequestAnswer)> onAnswer_;
    std::atomic<bool> isFinished_ = false;
};

}  // namespace varnelle::detail
