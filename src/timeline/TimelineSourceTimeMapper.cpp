#include "timeline/TimelineSourceTimeMapper.h"

#include <algorithm>

namespace varnelle {

TimelineSourceTimeMapper::TimelineSourceTimeMapper(std::vector<Segment> segments)
    : segments_(std::move(segments)) {
    std::stable_sort(segments_.begin(), segments_.end(), [](const Segment& a, const Segment& b) {
        return a.timelineStartSeconds < b.timelineStartSeconds;
    });
}

CMTime TimelineSourceTimeMapper::sourceTime(const CMTime& timelineTime) const {
    const double seconds = clampedSeconds(timelineTime);
    if (segments_.empty()) return timeFromSeconds(seconds);
    const auto after = std::upper_bound(
        segments_.begin(), segments_.end(), seconds,
        [](double time, const Segment& segment) { return time < segment.timelineStartSeconds; });
    const Segment& segment = after == segments_.begin() ? segments_.front() : *(after - 1);
    const double local = seconds - segment.timelineStartSeconds;
    return timeFromSeconds(std::clamp(local, 0.0, std::max(0.0, segment.length())) +
                           segment.sourceStartSeconds);
}

}  // namespace varnelle
