#include "editor/TimelineDrafts.h"

#include <algorithm>

namespace varnelle {

TimelineTrimmedRange trimmedRange(TimelineTrimEdge edge, const TimelineTrimGestureOrigin& origin,
                                  double deltaSeconds, double assetSeconds, double minimumDurationSeconds) {
    if (edge == TimelineTrimEdge::leading) {
        const double start = std::min(std::max(0.0, origin.end - minimumDurationSeconds),
                                      std::max(0.0, origin.start + deltaSeconds));
        return {start, origin.end - start};
    }
    const double end =
        std::min(assetSeconds, std::max(origin.start + minimumDurationSeconds, origin.end + deltaSeconds));
    return {origin.start, end - origin.start};
}

TimelineTrimmedRange trimmedZoomPanRange(TimelineTrimEdge edge,
                                         const TimelineZoomPanTrimGestureOrigin& origin, double deltaSeconds,
                                         double minimumDurationSeconds, double minStartSeconds,
                                         double maxEndSeconds) {
    const double low = std::max(0.0, minStartSeconds);
    const double high = std::max(maxEndSeconds, low + minimumDurationSeconds);
    if (edge == TimelineTrimEdge::leading) {
        const double upper = std::max(low, origin.end - minimumDurationSeconds);
        const double start = std::min(upper, std::max(low, origin.start + deltaSeconds));
        const double end = std::min(high, std::max(origin.end, start + minimumDurationSeconds));
        return {start, end - start};
    }
    const double lower = std::min(high, std::max(origin.start, origin.start + minimumDurationSeconds));
    const double end = std::min(high, std::max(lower, origin.end + deltaSeconds));
    const double start = std::max(low, std::min(origin.start, end - minimumDurationSeconds));
    return {start, end - start};
}

}  // namespace varnelle
