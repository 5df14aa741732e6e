#include "editor/PreviewFrames.h"

#include <utility>

namespace varnelle {

void PreviewFrames::put(const VideoFrame& frame) {
    const std::lock_guard lock(mutex_);
    newest_ = frame;
    if (onChange_) onChange_();
}

VideoFrame PreviewFrames::newest() const {
    const std::lock_guard lock(mutex_);
    return newest_;
}

void PreviewFrames::setOnChange(std::function<void()> onChange) {
    const std::lock_guard lock(mutex_);
    onChange_ = std::move(onChange);
}

}  // namespace varnelle
