#include "capture_ui/PanelPlacement.h"

#include <algorithm>

#include "app/SourceRules.h"

namespace varnelle {
namespace {

constexpr double kBarAboveBottom = 12;
constexpr double kPointerAboveBottom = 20;
constexpr double kWidthWithoutScreen = 1440;
/// The desktop's own bars and the window's edges lie in the corners, so the preview stays clear of them.
constexpr double kPreviewShiftRight = 24;
constexpr double kPreviewShiftUp = 120;

/// Moved as little as brings it into `bounds`; what doesn't fit is aligned at the left and top.
CGRect keptIn(const CGRect& bounds, const CGRect& rect) {
    const double x = std::max(std::min(rect.minX(), bounds.maxX() - rect.width()), bounds.minX());
    const double y = std::max(std::min(rect.minY(), bounds.maxY() - rect.height()), bounds.minY());
    return {{x, y}, rect.size};
}

CGRect atBottom(const ScreenPlace& screen, CGSize size, double aboveBottom) {
    const CGRect rect{
        {screen.frame.midX() - size.width / 2, screen.visibleFrame.maxY() - aboveBottom - size.height}, size};
    return keptIn(screen.frame, rect);
}

CGSize orDefault(CGSize size, CGSize byDefault) {
    return size.width > 0 && size.height > 0 ? size : byDefault;
}

bool isRight(OverlayAnchor anchor) {
    return anchor == OverlayAnchor::bottomRight || anchor == OverlayAnchor::topRight;
}

bool isTop(OverlayAnchor anchor) {
    return anchor == OverlayAnchor::topRight || anchor == OverlayAnchor::topLeft;
}

}  // namespace

CGRect dockBarFrame(const ScreenPlace& screen, CGSize contentSize) {
    return atBottom(screen, orDefault(contentSize, kDefaultDockBarSize), kBarAboveBottom);
}

CGRect noticeFrame(const ScreenPlace& screen, CGSize contentSize) {
    return atBottom(screen, contentSize, kBarAboveBottom + kDefaultDockBarSize.height);
}

CGRect dockPointerFrame(const ScreenPlace& screen, CGSize contentSize) {
    return atBottom(screen, orDefault(contentSize, kDefaultDockPointerSize), kPointerAboveBottom);
}

CGRect capsuleFrame(const ScreenPlace& screen) {
    return atBottom(screen, kCapsuleSize, kBarAboveBottom);
}

double cameraPreviewSide(const std::optional<ScreenPlace>& screen, const CameraBubbleLayout& layout) {
    return (screen ? screen->frame.width() : kWidthWithoutScreen) * layout.relativeSize;
}

CGRect cameraPreviewFrame(const CGRect& recordedRect, const std::optional<ScreenPlace>& screen,
                          const CameraBubbleLayout& layout) {
    const double side = cameraPreviewSide(screen, layout);
    const double x = isRight(layout.anchor) ? recordedRect.maxX() - layout.padding - side
                                            : recordedRect.minX() + layout.padding;
    const double y = isTop(layout.anchor) ? recordedRect.minY() + layout.padding
                                          : recordedRect.maxY() - layout.padding - side;
    const CGRect placed{{x + kPreviewShiftRight, y - kPreviewShiftUp}, {side, side}};
    return screen ? keptIn(screen->frame, placed) : placed;
}

CGRect withSide(const CGRect& frame, double side) {
    return {{frame.midX() - side / 2, frame.midY() - side / 2}, {side, side}};
}

std::optional<ShareableDisplay> displayOfPanels(const CaptureSources& sources) {
    if (sources.selectedDisplay()) return sources.selectedDisplay();
    return defaultDisplay(sources.availableDisplays(), std::nullopt);
}

CGRect recordedRect(const CaptureSources& sources, const CGRect& screenFrame) {
    if (sources.recordingType() == RecordingType::window && sources.selectedWindow()) {
        return sources.selectedWindow()->frame;
    }
    if (sources.recordingType() == RecordingType::area && sources.selectedAreaRect()) {
        return flippedGlobalRect(*sources.selectedAreaRect(), sources.primaryScreenHeight());
    }
    return screenFrame;
}

}  // namespace varnelle
