#include <algorithm>
#include <cmath>

#include "model/ProjectDocument.h"
#include "model/StoredRanges.h"

namespace varnelle {
namespace {

// None of these comparisons holds for what isn't a number.

bool isSetting(double value) {
    return std::abs(value) <= kLargestStoredSetting;
}

bool isSide(double value) {
    return value >= 0 && value <= kLargestStoredSide;
}

/// An infinite time is stored as 0.
bool isTime(const CMTime& time) {
    return clampedSeconds(time) <= kLargestStoredSeconds;
}

bool isRange(const CMTimeRange& range) {
    return isTime(range.start) && isTime(range.duration);
}

bool isText(const std::string& text) {
    return text.find('\0') == std::string::npos;
}

bool isDate(const Date& date) {
    return Date::parseISO8601(date.iso8601()).has_value();
}

bool isStorable(const RecordingSession& session) {
    return isDate(session.createdAt) && session.frameRate >= 0 &&
           session.frameRate <= kHighestStoredFrameRate && isSide(session.renderSize.width) &&
           isSide(session.renderSize.height);
}

bool isStorable(const OverlayConfiguration& overlay) {
    const bool hasPlace =
        !overlay.position || (isSetting(overlay.position->x) && isSetting(overlay.position->y));
    const auto settings = {overlay.relativeSize,
                           overlay.scale,
                           overlay.padding,
                           overlay.cornerRadius,
                           overlay.cornerRadiusRatio,
                           overlay.canvasPadding,
                           overlay.canvasCornerRadius,
                           overlay.canvasShadowOpacity,
                           overlay.canvasShadowRadius,
                           overlay.overlayShadowOpacity,
                           overlay.overlayShadowRadius,
                           overlay.cursor.size};
    return hasPlace && isText(overlay.wallpaperPath) &&
           std::all_of(settings.begin(), settings.end(), isSetting);
}

bool isStorable(const TimelineTrack& track) {
    return std::all_of(track.clips.begin(), track.clips.end(), [](const TimelineClip& clip) {
        return isRange(clip.trimRange) && isTime(clip.timelineOffset);
    });
}

bool isStorable(const Timeline& timeline) {
    const auto isStorableTrack = [](const TimelineTrack& track) { return isStorable(track); };
    return isStorable(timeline.overlayConfiguration) &&
           std::all_of(timeline.tracks.begin(), timeline.tracks.end(), isStorableTrack) &&
           std::all_of(timeline.zoomPanClips.begin(), timeline.zoomPanClips.end(),
                       [](const TimelineZoomPanClip& clip) { return isRange(clip.timeRange); });
}

}  // namespace

bool isStorable(const Project& project) {
    return isText(project.name) && isDate(project.createdAt) && isStorable(project.recordingSession) &&
           isStorable(project.timeline);
}

}  // namespace varnelle
