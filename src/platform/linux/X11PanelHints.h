#pragma once

#include "platform/WindowManagement.h"
#include "platform/linux/X11Connection.h"

namespace varnelle {

/// Tells the window manager what a panel is, in the properties and messages of ICCCM 2.0 and of the Extended
/// Window Manager Hints 1.5: by properties before a window is in its care, by messages from then on. Throws
/// `PlatformError` (`displayLost`).
void tellPanelBehaviour(X11Connection& connection, xcb_window_t window, const PanelBehaviour& behaviour);

/// Asks for a window to be put directly below another one. Throws `PlatformError` (`displayLost`).
void restackBelow(X11Connection& connection, xcb_window_t window, xcb_window_t sibling);

/// Asks for a window to be put above all others of its kind, which every window manager knows. Throws
/// `PlatformError` (`displayLost`).
void restackOnTop(X11Connection& connection, xcb_window_t window);

}  // namespace varnelle
