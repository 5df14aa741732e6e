#pragma once

#include <optional>
#include <vector>

#include "foundation/URL.h"
#include "foundation/UUID.h"

namespace varnelle {

/// A clip's stretch of the timeline, in seconds.
struct TimelineSpan {
    UUID clipID;
    double start = 0;
    double duration = 0;
    double sourceStart = 0;  ///< primary clips only, as the source
    URL source;

    [[nodiscard]] double end() const { return start + duration; }
    bool operator==(const TimelineSpan&) const = default;
};

/// Where a click on the ruler goes: to a near start or end of a clip or of the timeline, else where it is.
double snappedSeekSeconds(double seconds, double pixelsPerSecond, double displayDurationSeconds,
                          const std::vector<TimelineSpan>& spans);

struct TimelineCutTarget {
    UUID clipID;
    double offsetSeconds = 0;  ///< from the clip's start
    double timelineSeconds = 0;
    bool operator==(const TimelineCutTarget&) const = default;
};

/// The clip that a cut at a moment divides (the last one for a moment past the end); absent where it is too
/// short for that.
std::optional<TimelineCutTarget> cutTarget(double seconds, const std::vector<TimelineSpan>& spans);

/// The span that covers a moment, or null; where several do, the one that begins last. They are sorted by
/// start.
const TimelineSpan* spanAt(const std::vector<TimelineSpan>& spans, double seconds);

/// The time to skim to, on a grid of sixtieths; absent while it is (nearly) that of the last one.
std::optional<double> skimmedSeconds(double seconds, const std::optional<double>& lastScrubbedSeconds);

enum class TimelineDeletion { nothing, clip, zoomPanClip };
/// What the delete command removes: what is selected first, then what can be.
TimelineDeletion deletion(bool hasSelectedClip, bool hasSelectedZoomPanClip, bool canDeleteClip,
                          bool canDeleteZoomPanClip);

}  // namespace varnelle
