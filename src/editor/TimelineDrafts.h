#pragma once

#include "foundation/UUID.h"

namespace varnelle {

/// What drags on the timeline have come to so far. All in seconds; those of clips in source time, those of
/// zoom-pan clips in timeline time.

struct TimelineTrimDraft {
    UUID clipID;
    double startSeconds = 0;
    double durationSeconds = 0;
    bool operator==(const TimelineTrimDraft&) const = default;
};

struct TimelineZoomPanTrimDraft {
    UUID clipID;
    double startSeconds = 0;
    double durationSeconds = 0;
    bool operator==(const TimelineZoomPanTrimDraft&) const = default;
};

struct TimelineZoomPanMoveDraft {
    UUID clipID;
    double startSeconds = 0;
    bool operator==(const TimelineZoomPanMoveDraft&) const = default;
};

/// A clip's range when the drag of a handle began.
struct TimelineTrimGestureOrigin {
    double start = 0;
    double end = 0;
};
using TimelineZoomPanTrimGestureOrigin = TimelineTrimGestureOrigin;

enum class TimelineTrimEdge { leading, trailing };

struct TimelineTrimmedRange {
    double start = 0;
    double duration = 0;
    bool operator==(const TimelineTrimmedRange&) const = default;
};

/// A clip whose handle was dragged by `deltaSeconds`. Only the trailing edge is limited by the source's
/// length, which may leave less than the shortest clip.
TimelineTrimmedRange trimmedRange(TimelineTrimEdge edge, const TimelineTrimGestureOrigin& origin,
                                  double deltaSeconds, double assetSeconds, double minimumDurationSeconds);

/// A zoom-pan clip between its neighbours. The other edge moves only where there is no room left.
TimelineTrimmedRange trimmedZoomPanRange(TimelineTrimEdge edge,
                                         const TimelineZoomPanTrimGestureOrigin& origin, double deltaSeconds,
                                         double minimumDurationSeconds, double minStartSeconds,
                                         double maxEndSeconds);

}  // namespace varnelle
