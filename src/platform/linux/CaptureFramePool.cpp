#include "platform/linux/CaptureFramePool.h"

#include <algorithm>

namespace varnelle {
namespace {

/// Vector kernels may read a little beyond the last pixel of a frame.
constexpr std::size_t kReadableTail = 64;

}  // namespace

CaptureFramePool::CaptureFramePool(int widthPixels, int heightPixels, std::size_t maximumCount)
    : width_(widthPixels), height_(heightPixels), maximumCount_(maximumCount) {}

std::shared_ptr<CaptureBuffer> CaptureFramePool::acquire() {
    const auto free = std::find_if(buffers_.begin(), buffers_.end(), [](const auto& buffer) {
        return !buffer->isLent.load(std::memory_order_acquire);
    });
    if (free != buffers_.end()) return *free;
    if (buffers_.size() >= maximumCount_) return nullptr;
    auto buffer = std::make_shared<CaptureBuffer>(bufferByteCount());
    buffer->staleRegion.add({0, 0, width_, height_});
    buffers_.push_back(buffer);
    return buffer;
}

VideoFrame CaptureFramePool::lend(const std::shared_ptr<CaptureBuffer>& buffer) const {
    buffer->isLent.store(true, std::memory_order_relaxed);
    std::shared_ptr<void> lease(buffer->memory.bytes(),
                                [buffer](void*) { buffer->isLent.store(false, std::memory_order_release); });
    return {PixelFormat::bgra,
            width_,
            height_,
            {Plane{buffer->memory.bytes(), bytesPerRow()}, {}, {}},
            ColorDescription::sRGB(),
            std::move(lease)};
}

void CaptureFramePool::markStale(const PixelRegion& changes, const CaptureBuffer& upToDate) {
    for (const auto& buffer : buffers_) {
        if (buffer.get() == &upToDate) {
            buffer->staleRegion.clear();
        } else {
            buffer->staleRegion.add(changes);
        }
    }
}

std::size_t CaptureFramePool::bufferByteCount() const {
    return static_cast<std::size_t>(bytesPerRow()) * static_cast<std::size_t>(height_) + kReadableTail;
}

}  // namespace varnelle
