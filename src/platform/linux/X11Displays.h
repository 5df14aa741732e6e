#pragma once

#include <vector>

#include "platform/ShareableContent.h"
#include "platform/linux/X11Connection.h"

namespace varnelle {

/// Pixels per point of an X display. X11 knows one scale for all screens, and toolkits lay out in device
/// pixels unless they are told otherwise, so a point is a pixel here.
double pointPixelScale();

/// The screens, the primary one first: RandR's monitors, or the whole root window where RandR names none.
/// Throws `PlatformError`.
std::vector<ShareableDisplay> listDisplays(X11Connection& connection);

}  // namespace varnelle
