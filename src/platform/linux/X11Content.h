#pragma once

#include "media/VideoFrame.h"
#include "platform/PixelRegion.h"
#include "platform/linux/CaptureFramePool.h"

namespace varnelle {

/// What a capture shows: knows what has changed and reads pixels. Rectangles are relative to the picture's
/// top left corner. For the capture's thread. Every member may throw `PlatformError`.
class X11Content {
public:
    virtual ~X11Content() = default;

    /// Takes in what the server has said so far; returns whether there may be changes that `takeChanges`
    /// hasn't told yet.
    [[nodiscard]] virtual bool hasChanges() = 0;
    /// What may have changed since the last call; at first everything. Taken before the pixels are read, so
    /// that what is drawn in between is told again, never missed.
    [[nodiscard]] virtual PixelRegion takeChanges() = 0;
    /// Brings the region of the buffer up to date; returns whether a pixel of it differs from `previous`, the
    /// picture before, or empty.
    [[nodiscard]] virtual bool fetch(CaptureBuffer& buffer, const PixelRegion& region,
                                     const VideoFrame& previous) = 0;
};

}  // namespace varnelle
