#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "model/Timeline.h"

namespace varnelle {

/// Length below which a zoom-pan clip is not worth keeping: the shortest that a trim leaves, and what is left
/// of one after a cut has to reach.
inline constexpr CMTime kMinimumZoomPanDuration{72, kTimelineTimescale, CMTime::valid, 0};  // 0.12 s

/// A difference of not more than this many seconds is none.
inline constexpr double kTimeComparisonEpsilon = 2.220446049250313e-16;

bool isSameTime(const CMTime& a, const CMTime& b);
bool isSameTime(const CMTimeRange& a, const CMTimeRange& b);

// What happens to the zoom-pan clips of a lane, in timeline time. The arithmetic is exact; what it gives is
// rounded to the timeline's timescale.

/// Clips by ascending start; those that start together keep their order.
std::vector<TimelineZoomPanClip> sortedByStart(std::vector<TimelineZoomPanClip> clips);

/// Material of the length `delta` was inserted at `time`: clips that start there or later move along. A clip
/// that spans the time keeps its length.
std::vector<TimelineZoomPanClip> insertingTime(std::vector<TimelineZoomPanClip> clips, const CMTime& time,
                                               const CMTime& delta);

/// The material of a range was removed: later clips move up, a clip that overlaps the range loses the part
/// inside and goes altogether if less than the minimum is left. The result is sorted.
std::vector<TimelineZoomPanClip> removingRange(const std::vector<TimelineZoomPanClip>& clips,
                                               const CMTimeRange& range);

/// The range that the clip at `index` of a sorted lane gets when it is asked to have `requested`: it stops at
/// its neighbours and at the ends of the timeline. Absent if there is no room for the minimum, or nothing
/// changes.
std::optional<CMTimeRange> trimmedZoomPanRange(const std::vector<TimelineZoomPanClip>& sorted,
                                               std::size_t index, const CMTimeRange& requested,
                                               double timelineSeconds);

/// The start that the clip at `index` of a sorted lane gets when it is dragged to `requestedSeconds`: between
/// its neighbours, its length unchanged.
CMTime movedZoomPanStart(const std::vector<TimelineZoomPanClip>& sorted, std::size_t index,
                         double requestedSeconds, double timelineSeconds);

}  // namespace varnelle
