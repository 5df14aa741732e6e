#pragma once

#include <vector>

#include "camera/CursorRecording.h"
#include "camera/SmoothingCamera.h"
#include "foundation/CMTime.h"
#include "timeline/TimelineSourceTimeMapper.h"

namespace varnelle {

// What counts as zoomed or active when ranges are proposed: the zoom beyond which the camera counts, the
// shortest range and the gaps that are bridged, in seconds of source time.
inline constexpr double kZoomThreshold = 1.02;
inline constexpr double kSourceMinimum = 0.14;
inline constexpr double kCameraMergeGap = 2.04;
inline constexpr double kActivityMergeGap = 1.2;

/// Source ranges as they appear on the timeline: cut at the segments, moved, and normalised.
std::vector<CMTimeRange> timelineRanges(const std::vector<CMTimeRange>& sourceRanges,
                                        const std::vector<TimelineSourceTimeMapper::Segment>& segments,
                                        double minimumDuration);

/// Sorted by start, joined where they are at most 1/600 s apart, without those shorter than `minimumDuration`
/// seconds.
std::vector<CMTimeRange> normalizeTimeRanges(std::vector<CMTimeRange> ranges, double minimumDuration);

/// The ranges of the timeline in which the automatic camera is proposed to act: where it zooms, or, if it
/// would be zoomed nearly all the time, around clicks and keys. `camera` may be null; `duration` is the
/// composition's.
std::vector<CMTimeRange> autoZoomAndPanRanges(const CursorRecording& recording,
                                              const std::vector<TimelineSourceTimeMapper::Segment>& segments,
                                              const SmoothingCamera* camera, const CMTime& duration);

}  // namespace varnelle
