#pragma once

#include <vector>

#include "camera/CursorRecording.h"
#include "camera/SmoothingCamera.h"
#include "foundation/CMTime.h"

namespace varnelle {

/// Stretches of source time in which the camera has zoomed beyond a threshold, each begun where the activity
/// began that caused the zoom. Ranges shorter than `minimumDuration` seconds are dropped, ranges at most
/// `mergeGap` seconds apart are joined. `duration` is the source's.
std::vector<CMTimeRange> cameraActiveRanges(const SmoothingCamera& camera, const CMTime& duration,
                                            double zoomThreshold, double minimumDuration, double mergeGap);

/// Stretches of source time around clicks, drags and keys.
std::vector<CMTimeRange> activityActiveRanges(const CursorRecording& recording, const CMTime& duration,
                                              double minimumDuration, double mergeGap);

}  // namespace varnelle
