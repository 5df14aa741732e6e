#include "platform/linux/X11WindowSeparation.h"

#include <xcb/composite.h>

namespace varnelle {

std::unique_ptr<X11WindowSeparation> X11WindowSeparation::make(const std::string& displayName) {
    try {
        std::unique_ptr<X11WindowSeparation> separation(new X11WindowSeparation(displayName));
        if (begin(separation->connection_)) return separation;
    } catch (const PlatformError&) {
        // A recording will say what is missing.
    }
    return nullptr;
}

bool X11WindowSeparation::begin(X11Connection& connection) {
    if (!connection.hasExtension(xcb_composite_id)) return false;
    connection.reply<xcb_composite_query_version_reply_t>(xcb_composite_query_version(connection.get(), 0, 4),
                                                          "CompositeQueryVersion");
    // Beside a compositing manager, which redirects in its own way, this changes nothing and is allowed.
    connection.check(xcb_composite_redirect_subwindows_checked(connection.get(), connection.screen().root,
                                                               XCB_COMPOSITE_REDIRECT_AUTOMATIC),
                     "CompositeRedirectSubwindows");
    return true;
}

}  // namespace varnelle
