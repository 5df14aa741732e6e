#pragma once

#include <optional>
#include <vector>

#include "platform/DesktopPlatform.h"
#include "platform/PixelRegion.h"
#include "platform/linux/X11Connection.h"

namespace varnelle {

/// The windows that users know as such, from the topmost to the lowest. Throws `PlatformError`
/// (`displayLost`).
std::vector<ShareableWindow> listWindows(X11Connection& connection, const ShareableContentOptions& options);

/// As `DesktopPlatform::raiseWindow`: asks the window manager, as only it knows about workspaces and
/// minimised windows; without one the window is put on top. Throws `PlatformError`.
void bringToFront(X11Connection& connection, xcb_window_t window);

/// As `DesktopPlatform::windowIcon`.
std::optional<WindowIcon> iconOfWindow(X11Connection& connection, xcb_window_t window, int sizePixels);

/// A managed window as it lies on the screen: its own pixels and what belongs to it.
struct X11WindowPlace {
    xcb_window_t topLevel = 0;  ///< the window directly on the root: the decoration's, or the window itself
    PixelRect frame;            ///< on the root; with its decoration, without a shadow that it draws itself
    PixelRect client;           ///< on the root; without decoration
    PixelRect topLevelBounds;   ///< of `topLevel`, on the root, its border included
    int borderWidth = 0;        ///< of `topLevel`
    bool isViewable = false;
};

/// Absent if the window is gone. Throws `PlatformError` (`displayLost`).
std::optional<X11WindowPlace> placeOfWindow(X11Connection& connection, xcb_window_t window);

}  // namespace varnelle
