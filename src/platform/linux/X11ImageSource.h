#pragma once

#include <memory>
#include <vector>

#include "media/VideoFrame.h"
#include "platform/PixelRegion.h"
#include "platform/linux/CaptureFramePool.h"
#include "platform/linux/X11Connection.h"

namespace varnelle {

/// Reads the pixels of one area of a drawable: the root window for a display, a window's or a composed
/// pixmap.
///
/// With shared memory the server writes straight into the buffers; without it (a remote server) pixels come
/// through the connection.
class X11ImageSource {
public:
    /// Whether more than what was asked for may be fetched, which saves copies: whole rows.
    enum class Bands { allowed, none };

    /// `area` in the drawable's pixels; what of it lies outside of `bounds`, the drawable's own extent, is
    /// black. Throws `PlatformError` (`unsupported`) for anything but 32-bit pixels with blue first.
    X11ImageSource(X11Connection& connection, xcb_drawable_t drawable, const PixelRect& area,
                   const PixelRect& bounds);

    ~X11ImageSource();
    X11ImageSource(const X11ImageSource&) = delete;
    X11ImageSource& operator=(const X11ImageSource&) = delete;

    void setBounds(const PixelRect& bounds) { bounds_ = bounds; }
    /// Brings disjoint rectangles (relative to the area) of the buffer up to date with the drawable.
    /// `previous` is the picture before, or empty; returns whether a pixel of them is different from it.
    /// Throws `PlatformError`.
    bool fetch(CaptureBuffer& buffer, const std::vector<PixelRect>& rects, const VideoFrame& previous,
               Bands bands);

    [[nodiscard]] bool usesSharedMemory() const { return usesSharedMemory_; }

private:
    struct Fetch {
        PixelRect rect;
        bool isInPlace = false;
        std::size_t scratchOffset = 0;
        unsigned int sequence = 0;
    };

    [[nodiscard]] std::vector<Fetch> plan(const std::vector<PixelRect>& rects, Bands bands) const;
    [[nodiscard]] bool blacken(CaptureBuffer& buffer, const PixelRect& rect,
                               const VideoFrame& previous) const;
    void attach(CaptureBuffer& buffer);
    bool fetchShared(CaptureBuffer& buffer, std::vector<Fetch>& fetches, const VideoFrame& previous);
    bool fetchThroughConnection(CaptureBuffer& buffer, std::vector<Fetch>& fetches,
                                const VideoFrame& previous);
    [[nodiscard]] std::size_t bytesPerRow() const { return static_cast<std::size_t>(area_.width()) * 4; }

    X11Connection& connection_;
    xcb_drawable_t drawable_;
    PixelRect area_;
    PixelRect bounds_;
    bool usesSharedMemory_ = false;
    /// Where narrow rectangles arrive, packed, before they are copied to their rows.
    std::unique_ptr<CaptureBuffer> scratch_;
};

}  // namespace varnelle
