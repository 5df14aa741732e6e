#pragma once

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include "platform/PixelRegion.h"
#include "platform/linux/X11Connection.h"

namespace varnelle {

/// Reports what is drawn on a window and the windows in it.
class X11Damage {
public:
    /// Whether the server can report at all; agrees on the extensions' versions. Once per connection, before
    /// the first object. Throws `PlatformError`.
    static bool isSupported(X11Connection& connection);

    /// Throws `PlatformError`.
    X11Damage(X11Connection& connection, xcb_window_t window);
    ~X11Damage();
    X11Damage(const X11Damage&) = delete;
    X11Damage& operator=(const X11Damage&) = delete;

    /// Whether the event says that something was drawn on this window.
    [[nodiscard]] bool isReportedBy(const xcb_generic_event_t& event) const;
    /// What was drawn since the last call, in the window's pixels. Throws `PlatformError`.
    [[nodiscard]] PixelRegion take();
    /// Forgets what was drawn.
    void discard();

private:
    X11Connection& connection_;
    xcb_damage_damage_t damage_;
    xcb_xfixes_region_t region_;
};

}  // namespace varnelle
