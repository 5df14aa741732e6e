#include "editor/TimelineLayout.h"

#include <algorithm>

namespace varnelle {
namespace {

constexpr double kMinimumWidth = 320;
/// A longer timeline is scrolled at any zoom.
constexpr double kLongestFittedSeconds = 90;
constexpr double kMinimumPixelsPerSecond = 7;
constexpr double kMaximumPixelsPerSecond = 240;
constexpr double kMinimumMaximumZoom = 5;
constexpr double kLeftRevealShare = 0.3;
constexpr double kLeftRevealMinimum = 36;
constexpr double kRightTriggerShare = 0.18;
constexpr double kRightTriggerMinimum = 28;

}  // namespace

TimelineLayout TimelineLayout::make(double widthOnOffer, double displayDurationSeconds, double zoomScale) {
    const double width = std::max(kMinimumWidth, widthOnOffer);
    const double contentSeconds = std::max(minimumTrimDurationSeconds, displayDurationSeconds);
    TimelineLayout layout;
    layout.availableWidth = std::max(0.0, width - 2 * timelineHorizontalInset);
    layout.displayDurationSeconds = displayDurationSeconds;
    // An empty timeline has the scale of the shortest one.
    const double fittedSeconds =
        std::min(displayDurationSeconds > 0 ? displayDurationSeconds : contentSeconds, kLongestFittedSeconds);
    const double fittedScale = layout.availableWidth / fittedSeconds;
    layout.pixelsPerSecond = std::max(kMinimumPixelsPerSecond, fittedScale * zoomScale);
    layout.contentWidth = layout.pixelsPerSecond * contentSeconds;
    layout.innerViewport = std::max(1.0, width - 2 * timelineHorizontalInset);
    layout.leftReveal = std::min(followLeftRevealInset,
                                 std::max(kLeftRevealMinimum, layout.innerViewport * kLeftRevealShare));
    layout.rightTrigger = std::min(followRightTriggerInset,
                                   std::max(kRightTriggerMinimum, layout.innerViewport * kRightTriggerShare));
    layout.maximumZoom = std::max(kMinimumMaximumZoom, kMaximumPixelsPerSecond / fittedScale);
    return layout;
}

double TimelineLayout::playheadX(double currentSeconds) const {
    return std::min(std::max(0.0, contentWidth - 1), pixelsPerSecond * currentSeconds);
}

double TimelineLayout::maximumStart() const {
    return std::max(0.0, contentWidth - innerViewport);
}

double TimelineLayout::followStart(double followWindowStartX) const {
    return std::min(maximumStart(), std::max(0.0, followWindowStartX));
}

double TimelineLayout::followTarget(double currentSeconds, double followWindowStartX) const {
    double x = pixelsPerSecond * currentSeconds;
    if (contentWidth - 1 > 0) x = std::min(x, contentWidth - 1);
    const double start = followStart(followWindowStartX);
    const double rightEdge = std::max(leftReveal, innerViewport - rightTrigger);
    if (x <= start + rightEdge && x >= start + leftReveal) return start;
    return std::min(maximumStart(), std::max(0.0, x - leftReveal));
}

double TimelineLayout::clampedZoom(double zoomScale) const {
    return std::min(maximumZoom, std::max(minimumZoom, zoomScale));
}

}  // namespace varnelle
