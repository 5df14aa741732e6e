#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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

/// The windows that the window manager manages, from the lowest to the topmost; without a window manager the
/// visible windows directly on the root. Throws `PlatformError` (`displayLost`).
std::vector<xcb_window_t> managedWindows(X11Connection& connection);

}  // namespace varnelle
