#pragma once

#include <memory>
#include <string>

#include "platform/linux/X11Connection.h"

namespace varnelle {

/// Has the server keep the pixels of all windows apart, as long as the object lives. Only what is drawn from
/// then on is kept: a window that is covered at the beginning has the pixels of what covers it until its
/// program draws it anew. So a program that wants to be left out of pictures begins with this, before it
/// shows anything.
class X11WindowSeparation {
public:
    /// Null if there is no display, or one that can't do it.
    static std::unique_ptr<X11WindowSeparation> make(const std::string& displayName);

    /// Whether the server can do it; begins it on the connection, for as long as that lives. Throws
    /// `PlatformError`.
    static bool begin(X11Connection& connection);

private:
    explicit X11WindowSeparation(const std::string& displayName) : connection_(displayName) {}

    X11Connection connection_;
};

}  // namespace varnelle
