#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/ShareableContent.h"
#include "platform/linux/X11Content.h"
#include "platform/linux/X11Damage.h"
#include "platform/linux/X11ExcludedWindows.h"
#include "platform/linux/X11ImageSource.h"

namespace varnelle {

/// An area of the root window, that is, what is on the screen there. Beyond the screen's edges it is black. A
/// server that doesn't report what is drawn is read whole each time.
class X11DisplayContent final : public X11Content {
public:
    /// `area` on the root window; windows of `excludedProcesses` are left out. If `display` is removed or
    /// `window` closed, the log says so, and the area goes on to show what is in its place. Throws
    /// `PlatformError`.
    X11DisplayContent(X11Connection& connection, const PixelRect& area,
                      const std::vector<std::int64_t>& excludedProcesses,
                      std::optional<ShareableDisplay> display, std::optional<ShareableWindow> window);

    [[nodiscard]] bool hasChanges() override;
    [[nodiscard]] PixelRegion takeChanges() override;
    [[nodiscard]] bool fetch(CaptureBuffer& buffer, const PixelRegion& region,
                             const VideoFrame& previous) override;

private:
    void takeInEvents();
    void lookForDisplay();
    void noteClosed(xcb_window_t window);
    [[nodiscard]] bool look(CaptureBuffer& buffer, const PixelRegion& region, const VideoFrame& previous);
    /// One look at the picture, which windows may move in meanwhile.
    [[nodiscard]] bool fetchWithoutExcluded(CaptureBuffer& buffer, const PixelRegion& region,
                                            const VideoFrame& previous);

    X11Connection& connection_;
    PixelRect area_;
    X11ImageSource source_;
    std::unique_ptr<X11Damage> damage_;  ///< null where the server doesn't report
    std::unique_ptr<X11ExcludedWindows> excludedWindows_;
    // Absent if nobody needs to know, or it has been told already.
    std::optional<ShareableDisplay> display_;
    std::optional<ShareableWindow> window_;
    bool hasDamage_ = true;
};

}  // namespace varnelle
