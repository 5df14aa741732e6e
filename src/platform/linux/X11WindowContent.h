#pragma once

#include <memory>
#include <string>

#include "platform/ShareableContent.h"
#include "platform/linux/X11Content.h"
#include "platform/linux/X11Damage.h"
#include "platform/linux/X11ImageSource.h"
#include "platform/linux/X11Windows.h"

namespace varnelle {

/// A window by itself with its decoration, from the pixels that the server keeps of it. While it is hidden
/// the picture stays as it was. A picture larger than the window is black around it.
class X11WindowContent final : public X11Content {
public:
    static bool isSupported(X11Connection& connection);

    /// Throws `PlatformError` (`requestFailed`) for a window that is gone or not shown.
    X11WindowContent(X11Connection& connection, const ShareableWindow& window, int widthPixels,
                     int heightPixels);
    ~X11WindowContent() override;

    /// Throws `PlatformError` (`requestFailed`) when the window has been closed.
    [[nodiscard]] bool hasChanges() override;
    [[nodiscard]] PixelRegion takeChanges() override;
    [[nodiscard]] bool fetch(CaptureBuffer& buffer, const PixelRegion& region,
                             const VideoFrame& previous) override;

private:
    class Pixmap;

    /// False, and the window counts as outdated, if it has changed since its place was asked for.
    [[nodiscard]] bool tryToOpen(const X11WindowPlace& place);
    void openPixmap(const X11WindowPlace& place);
    /// Has the server tell when the window is shown, resized or goes; false if it does so already.
    bool watch(xcb_window_t topLevel);
    [[nodiscard]] PlatformError closedError() const;

    X11Connection& connection_;
    const xcb_window_t window_;
    const std::string title_;
    const PixelRect picture_;
    xcb_window_t topLevel_ = 0;  ///< whose pixmap and damage are open
    xcb_window_t watched_ = 0;   ///< the newest top level window, shown or not
    PixelRect topLevelBounds_;
    PixelRect client_;
    std::unique_ptr<Pixmap> pixmap_;
    std::unique_ptr<X11ImageSource> source_;
    std::unique_ptr<X11Damage> damage_;
    int cropLeft_ = 0;  ///< columns of the pixmap left of the picture
    int cropTop_ = 0;   ///< rows of the pixmap above the picture
    int borderWidth_ = 0;
    bool isOutdated_ = true;  ///< the window has another size, decoration or pixmap than when last looked at
    bool hasDamage_ = true;
};

}  // namespace varnelle
