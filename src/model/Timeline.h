#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "foundation/CMTime.h"
#include "foundation/SharedList.h"
#include "foundation/URL.h"
#include "foundation/UUID.h"
#include "model/AudioModels.h"
#include "model/OverlayModels.h"

namespace varnelle {

/// A stretch of a source on a track.
struct TimelineClip {
    UUID id;
    URL sourceURL;
    CMTimeRange
        trimRange;  ///< in the source's time; an infinite duration stands for all that follows the start
    CMTime timelineOffset;  ///< start of the clip on the timeline

    bool operator==(const TimelineClip&) const = default;
};

/// The part of a source that a clip really shows once the source's duration is known: start and duration are
/// clipped to the source, an infinite duration becomes the rest of it. Without a known duration, the trim
/// range as it stands.
CMTimeRange resolvedRange(const TimelineClip& clip, const std::optional<CMTime>& assetDuration);

/// Clips one after the other, without gaps, from zero.
struct TimelineTrack {
    enum class TrackType { video, camera, audio };

    UUID id;
    TrackType type = TrackType::video;
    SharedList<TimelineClip> clips;
    bool isMuted = false;

    bool operator==(const TimelineTrack&) const = default;
};

std::string_view rawString(TimelineTrack::TrackType type);

/// A range of the timeline in which the automatic camera may act.
struct TimelineZoomPanClip {
    UUID id;
    CMTimeRange timeRange;  ///< in timeline time

    bool operator==(const TimelineZoomPanClip&) const = default;
};

/// A clip as it is played.
struct TimelineClipSegment {
    TimelineClip clip;
    std::size_t index = 0;  ///< place in its track
    CMTime timelineStart;
    CMTimeRange sourceRange;
};

struct Timeline {
    SharedList<TimelineTrack> tracks;
    OverlayConfiguration overlayConfiguration;
    AudioConfiguration audioConfiguration;
    SharedList<TimelineZoomPanClip> zoomPanClips;  ///< sorted by start

    bool operator==(const Timeline&) const = default;
};

}  // namespace varnelle
