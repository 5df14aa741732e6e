#pragma once

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <optional>
#include <string>

#include "media/SampleBuffer.h"
#include "platform/ScreenStream.h"
#include "platform/linux/CaptureFramePool.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11ImageSource.h"

namespace varnelle {

/// The picture of one display as a sequence of frames: asks the server what was drawn since the last look and
/// fetches only that. For one thread at a time.
class X11DisplayCapture {
public:
    enum class Outcome { frame, unchanged, noFreeBuffer };

    /// Throws `PlatformError`.
    X11DisplayCapture(const std::string& displayName, const ContentFilter& filter,
                      const ScreenStreamConfiguration& configuration);

    /// Readable when the server has something to say.
    [[nodiscard]] int fileDescriptor() const { return connection_.fileDescriptor(); }
    /// Takes in what the server has said so far and tells whether something was drawn that no frame shows
    /// yet. True at first, for the whole picture. Throws `PlatformError` (`displayLost`).
    [[nodiscard]] bool hasChanges();
    /// Looks at the changes; `sample` is set for the outcome `frame`. Drawing that left the picture as it was
    /// gives `unchanged`; with `noFreeBuffer` the changes wait. Throws `PlatformError`.
    [[nodiscard]] Outcome takeFrame(SampleBuffer& sample);

private:
    [[nodiscard]] PixelRegion takeDamage();
    void bringUpToDate(CaptureBuffer& buffer, const PixelRegion& aboutToBeFetched) const;

    X11Connection connection_;
    PixelRect area_;
    X11ImageSource source_;
    CaptureFramePool pool_;
    xcb_damage_damage_t damage_ = 0;
    xcb_xfixes_region_t region_ = 0;
    bool hasDamage_ = true;
    VideoFrame current_;
};

}  // namespace varnelle
