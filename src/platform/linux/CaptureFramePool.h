#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

#include "media/VideoFrame.h"
#include "platform/PixelRegion.h"
#include "platform/linux/SharedMemory.h"

namespace varnelle {

/// Memory of one captured picture: BGRA, rows without padding. Reused, so it holds an older picture, which
/// differs from the newest one at most in `staleRegion`.
struct CaptureBuffer {
    SharedMemory memory;
    std::uint32_t segment = 0;  ///< the display server's number of the memory; 0 if it doesn't know it
    PixelRegion staleRegion;
    std::atomic<bool> isLent = false;

    explicit CaptureBuffer(std::size_t byteCount) : memory(byteCount) {}
};

/// A bounded set of buffers that are handed out as frames and come back when the last copy of the frame goes,
/// on whichever thread that is. Everything else is for the capture thread. Frames may outlive the pool.
class CaptureFramePool {
public:
    CaptureFramePool(int widthPixels, int heightPixels, std::size_t maximumCount);

    /// A buffer that nobody looks at, or null if all are lent. A new one is stale all over.
    [[nodiscard]] std::shared_ptr<CaptureBuffer> acquire();
    /// The buffer as a frame, which must be complete by now. It counts as lent until the last copy goes.
    [[nodiscard]] VideoFrame lend(const std::shared_ptr<CaptureBuffer>& buffer) const;
    /// Notes what has changed since the buffers were filled, in all but `upToDate`, which is complete.
    void markStale(const PixelRegion& changes, const CaptureBuffer& upToDate);

    [[nodiscard]] int bytesPerRow() const { return width_ * 4; }
    [[nodiscard]] std::size_t bufferByteCount() const;

private:
    int width_;
    int height_;
    std::size_t maximumCount_;
    std::vector<std::shared_ptr<CaptureBuffer>> buffers_;
};

}  // namespace varnelle
