#pragma once

#include <memory>
#include <string>

#include "media/SampleBuffer.h"
#include "platform/ScreenStream.h"
#include "platform/linux/CaptureFramePool.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11Content.h"

namespace varnelle {

/// A part of the desktop as a sequence of frames: asks the server what was drawn since the last look and
/// fetches only that. For one thread at a time.
class X11Capture {
public:
    enum class Outcome { frame, unchanged, noFreeBuffer };

    /// Throws `PlatformError`.
    X11Capture(const std::string& displayName, const ContentFilter& filter,
               const ScreenStreamConfiguration& configuration);

    /// Readable when the server has something to say.
    [[nodiscard]] int fileDescriptor() const { return connection_.fileDescriptor(); }
    /// Takes in what the server has said so far and tells whether something was drawn that no frame shows
    /// yet. True at first, for the whole picture. Throws `PlatformError`: `displayLost`, or `requestFailed`
    /// for a window that was closed.
    [[nodiscard]] bool hasChanges();
    /// Looks at the changes; `sample` is set for the outcome `frame`. Drawing that left the picture as it was
    /// gives `unchanged`; with `noFreeBuffer` the changes wait. Throws `PlatformError`.
    [[nodiscard]] Outcome takeFrame(SampleBuffer& sample);

private:
    void bringUpToDate(CaptureBuffer& buffer, const PixelRegion& aboutToBeFetched) const;

    X11Connection connection_;
    PixelRect picture_;
    std::unique_ptr<X11Content> content_;
    CaptureFramePool pool_;
    VideoFrame current_;
};

}  // namespace varnelle
