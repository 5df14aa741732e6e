#include "media/detail/FrameRequest.h"

#include "media/MediaError.h"

namespace varnelle::detail {

FrameRequest::FrameRequest(CMTime time, std::shared_ptr<const VideoCompositionInstruction> instruction,
                           std::shared_ptr<VideoRenderContext> context, SourceFrames frames,
                           std::function<void(RequestAnswer)> onAnswer)
    : time_(time),
      instruction_(std::move(instruction)),
      context_(std::move(context)),
      frames_(std::move(frames)),
      onAnswer_(std::move(onAnswer)) {}

FrameRequest::~FrameRequest() {
    if (isFinished_) return;
    answer(std::make_exception_ptr(MediaError(MediaError::Code::cannotDecode,
                                              "A picture was never composed: its request was dropped.")));
}

std::optional<VideoFrame> FrameRequest::sourceFrame(TrackID track) const {
    for (const auto& [id, frame] : frames_) {
        if (id == track) return frame;
    }
    return std::nullopt;
}

void FrameRequest::answer(RequestAnswer answer) {
    if (!isFinished_.exchange(true)) onAnswer_(std::move(answer));
}

}  // namespace varnelle::detail
