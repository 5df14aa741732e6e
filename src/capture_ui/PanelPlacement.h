#pragma once

#include <optional>

#include "app/CaptureSources.h"
#include "foundation/Geometry.h"
#include "model/OverlayModels.h"

namespace varnelle {

/// Where the floating panels lie. All rectangles are in global points with the origin at the top left.

/// A screen as the desktop describes it.
struct ScreenPlace {
    CGRect frame;
    CGRect visibleFrame;  ///< without what the desktop's own bars take
};

inline constexpr CGSize kDefaultDockBarSize{720, 52};
inline constexpr CGSize kDefaultDockPointerSize{300, 150};
inline constexpr CGSize kCapsuleSize{240, 40};

/// At the bottom of the screen, centred. An empty size means that the content hasn't told its own yet.
CGRect dockBarFrame(const ScreenPlace& screen, CGSize contentSize);
/// A card of the given size above where the bar is.
CGRect noticeFrame(const ScreenPlace& screen, CGSize contentSize);
/// Centred over the bar; its content leaves room at the bottom for the bar itself.
CGRect dockPointerFrame(const ScreenPlace& screen, CGSize contentSize);
/// The capsule of a running recording: in the bar's place, which is free then.
CGRect capsuleFrame(const ScreenPlace& screen);

/// The side of the square in which the camera's picture floats; `screen` may be absent.
double cameraPreviewSide(const std::optional<ScreenPlace>& screen, const CameraBubbleLayout& layout);
/// Where a new camera preview comes up: at the layout's corner of what is recorded, kept on the screen.
CGRect cameraPreviewFrame(const CGRect& recordedRect, const std::optional<ScreenPlace>& screen,
                          const CameraBubbleLayout& layout);
/// A square with another side and the same centre.
CGRect withSide(const CGRect& frame, double side);

/// The selected display, or the primary one; absent without displays.
std::optional<ShareableDisplay> displayOfPanels(const CaptureSources& sources);
/// The rectangle of what would be recorded now: the window's, the area's, or else the screen's.
CGRect recordedRect(const CaptureSources& sources, const CGRect& screenFrame);

}  // namespace varnelle
