#pragma once

#include <vector>

#include "platform/ShareableContent.h"
#include "platform/linux/X11Connection.h"

namespace varnelle {

/// Pixels per point, at least 1. X11 has one scale for all screens: the resource "Xft.dpi", which desktops
/// set and toolkits go by, over 96 dots per inch. Throws `PlatformError` (`displayLost`).
double pointPixelScale(X11Connection& connection);

/// The screens, the primary one first: RandR's monitors, or the whole root window where RandR names none.
/// Throws `PlatformError`.
std::vector<ShareableDisplay> listDisplays(X11Connection& connection);

}  // namespace varnelle
