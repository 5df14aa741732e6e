#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/PixelRegion.h"
#include "platform/linux/X11Connection.h"

namespace varnelle {

/// A property that has been asked for but not read yet, so that many can be asked for in one round trip.
class X11Property {
public:
    /// At most `kMaximumBytes` of the property are read.
    X11Property(X11Connection& connection, xcb_window_t window, const char* name);

    /// The numbers of a property of 32-bit items; empty if there is none or the window is gone. Once. Throws
    /// `PlatformError` (`displayLost`).
    [[nodiscard]] std::vector<std::uint32_t> numbers();
    /// A text in UTF-8; empty likewise. Once. Throws likewise.
    [[nodiscard]] std::string text();

    static constexpr std::uint32_t kMaximumBytes = 4U << 20;

private:
    X11Connection& connection_;
    xcb_get_property_cookie_t cookie_;
};

/// What users take a window for.
enum class X11WindowKind { ordinary, desktop, panel, popUp };

/// `types` are the atoms of its _NET_WM_WINDOW_TYPE. Throws `PlatformError` (`displayLost`) unless it has
/// been called on the connection before.
X11WindowKind kindOfWindow(X11Connection& connection, const std::vector<std::uint32_t>& types,
                           bool overridesManager);

/// What users take for a window: with what the window manager drew around it, without a shadow of its own.
/// `decoration` and `shadow` are its _NET_FRAME_EXTENTS and _GTK_FRAME_EXTENTS.
PixelRect frameOfWindow(const PixelRect& client, const std::vector<std::uint32_t>& decoration,
                        const std::vector<std::uint32_t>& shadow);

/// The windows that the window manager manages, from the lowest to the topmost; without a window manager the
/// visible windows directly on the root. Throws `PlatformError` (`displayLost`).
std::vector<xcb_window_t> managedWindows(X11Connection& connection);

}  // namespace varnelle
