#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Geometry.h"
#include "platform/CaptureDevices.h"
#include "platform/ShareableContent.h"

namespace varnelle {

/// The windows that a user is offered, in the order of the menu: by program, title and number. Left out are
/// the program's own (by process), panels and such, windows without a title and what belongs to the desktop
/// itself.
std::vector<ShareableWindow> offeredWindows(std::vector<ShareableWindow> windows, std::int64_t ownProcessID);

/// The display that is chosen for the user: the one of the given name, else the first. Absent without
/// displays.
std::optional<ShareableDisplay> defaultDisplay(const std::vector<ShareableDisplay>& displays,
                                               const std::optional<std::string>& preferredName);
/// The window that is chosen for the user: the one selected before as it is now; if it has gone or there was
/// none, the first that lies on the primary screen, else the first. Absent without windows.
std::optional<ShareableWindow> defaultWindow(const std::vector<ShareableWindow>& windows,
                                             const std::vector<ShareableDisplay>& displays,
                                             const std::optional<ShareableWindow>& selected);
/// The device selected before if it is still there, else the first one; absent without devices.
std::optional<std::string> defaultDevice(const std::vector<CaptureDevice>& devices,
                                         const std::optional<std::string>& selectedID);

/// The display that a window's middle lies on; absent if that is none.
std::optional<ShareableDisplay> displayHolding(const std::vector<ShareableDisplay>& displays, CGPoint place);
/// Pixels per point of a display, at least 1; 2 for one that isn't in the list.
double displayScale(const std::vector<ShareableDisplay>& displays, std::uint32_t displayID);

/// A rectangle in global points with its origin at the bottom left of the primary screen, where y grows
/// upwards, as one with its origin at the top left, where y grows downwards. And back: it is its own inverse.
CGRect flippedGlobalRect(const CGRect& rect, double primaryScreenHeight);

/// The part of a display that a selected rectangle (global points, origin bottom left) stands for: in points
/// from the display's top left corner, cut to the display, aligned to whole pixels of an even number in each
/// direction. Absent if less than 20 points in a direction are left.
std::optional<CGRect> areaSelectionForCapture(const std::optional<CGRect>& selectedAreaRect,
                                              const ShareableDisplay& display, double primaryScreenHeight,
                                              double scale);

}  // namespace varnelle
