#include "model/Timeline.h"

#include <algorithm>

namespace varnelle {

CMTimeRange resolvedRange(const TimelineClip& clip, const std::optional<CMTime>& assetDuration) {
    if (!assetDuration) return clip.trimRange;
    const double assetSeconds = clampedSeconds(*assetDuration);
    const double start = std::min(assetSeconds, clampedSeconds(clip.trimRange.start));
    const double remaining = std::max(0.0, assetSeconds - start);
    const double duration = clip.trimRange.duration.isNumeric()
                                ? std::min(remaining, clampedSeconds(clip.trimRange.duration))
                                : remaining;
    return {timeFromSeconds(start), timeFromSeconds(duration)};
}

std::string_view rawString(TimelineTrack::TrackType type) {
    switch (type) {
        case TimelineTrack::TrackType::video:
            return "video";
        case TimelineTrack::TrackType::camera:
            return "camera";
        case TimelineTrack::TrackType::audio:
            return "audio";
    }
    return "video";
}

}  // namespace varnelle
