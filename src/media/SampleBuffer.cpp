#include "media/SampleBuffer.h"

namespace varnelle {

bool SampleBuffer::isValid() const {
    return image() != nullptr || (pcm() != nullptr && pcm()->frameCount() > 0);
}

const VideoFrame* SampleBuffer::image() const {
    const auto* frame = std::get_if<VideoFrame>(&data);
    return frame != nullptr && !frame->isEmpty() ? frame : nullptr;
}

SampleBuffer SampleBuffer::retimed(CMTime newPresentationTime) const {
    SampleBuffer copy = *this;
    copy.presentationTime = newPresentationTime;
    copy.outputPresentationTime = kCMTimeInvalid;
    return copy;
}

}  // namespace varnelle
