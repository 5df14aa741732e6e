#pragma once

namespace varnelle {

/// The timeline's measures in points and seconds. An x is measured from the place of time zero.
struct TimelineLayout {
    static constexpr double rulerHeight = 26;
    static constexpr double videoTrackHeight = 48;
    static constexpr double zoomPanTrackHeight = 48;
    static constexpr double laneSpacing = 8;
    static constexpr double minimumTrimDurationSeconds = 0.25;
    static constexpr double minimumZoomPanTrimDurationSeconds = 0.12;
    /// Left and right of the content.
    static constexpr double timelineHorizontalInset = 24;
    /// How far left of the playhead a follow scroll leaves room.
    static constexpr double followLeftRevealInset = 92;
    /// The distance from the right edge that starts a follow scroll.
    static constexpr double followRightTriggerInset = 64;
    /// A narrower clip block shows no duration.
    static constexpr double minWidthToShowDuration = 60;
    /// A narrower zoom-pan clip shows no handles.
    static constexpr double minWidthToShowHandles = 28;
    static constexpr double minimumZoom = 1;

    double availableWidth = 0;
    double displayDurationSeconds = 0;
    double pixelsPerSecond = 0;
    double contentWidth = 0;
    double innerViewport = 0;
    double leftReveal = 0;
    double rightTrigger = 0;
    double maximumZoom = 0;

    /// At a zoom of 1, a timeline of up to 90 s fills the width; a longer one has the scale of 90 s.
    static TimelineLayout make(double widthOnOffer, double displayDurationSeconds, double zoomScale);

    [[nodiscard]] double playheadX(double currentSeconds) const;
    /// The largest left edge of what is seen of the content.
    [[nodiscard]] double maximumStart() const;
    [[nodiscard]] double followStart(double followWindowStartX) const;
    /// The left edge with which the playhead is in sight, away from the edges: the present one if it is so
    /// already.
    [[nodiscard]] double followTarget(double currentSeconds, double followWindowStartX) const;
    [[nodiscard]] double clampedZoom(double zoomScale) const;

    bool operator==(const TimelineLayout&) const = default;
};

}  // namespace varnelle
