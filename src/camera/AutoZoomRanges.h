#pragma once

#include <vector>

#include "camera/CursorRecording.h"
#include "camera/SmoothingCamera.h"
#include "foundation/CMTime.h"
#include "timeline/TimelineSourceTimeMapper.h"

namespace varnelle {

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
