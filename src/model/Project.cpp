#include "model/Project.h"

#include <algorithm>

namespace varnelle {
namespace {

TimelineTrack trackOverWholeSource(TimelineTrack::TrackType type, const URL& source, const CMTime& duration) {
    const TimelineClip clip{UUID::random(), source, {kCMTimeZero, duration}, kCMTimeZero};
    return {UUID::random(), type, {clip}, false};
}

}  // namespace

Project Project::make(const RecordingSession& session, const std::optional<CMTime>& duration,
                      const OverlayConfiguration& overlayConfiguration) {
    const CMTime length = duration.value_or(kCMTimePositiveInfinity);
    Timeline timeline;
    timeline.tracks.append(
        trackOverWholeSource(TimelineTrack::TrackType::video, session.screenRecordingURL, length));
    if (session.cameraRecordingURL) {
        timeline.tracks.append(
            trackOverWholeSource(TimelineTrack::TrackType::camera, *session.cameraRecordingURL, length));
    }
    timeline.overlayConfiguration = overlayConfiguration;
    timeline.audioConfiguration = AudioConfiguration::including(session.availableAudioSources);
    return {UUID::random(), session.directoryURL.lastPathComponent(), session, timeline, Date::now()};
}

const TimelineTrack* Project::track(TimelineTrack::TrackType type) const {
    const auto found = std::find_if(timeline.tracks.begin(), timeline.tracks.end(),
                                    [type](const TimelineTrack& track) { return track.type == type; });
    return found == timeline.tracks.end() ? nullptr : &*found;
}

std::optional<UUID> Project::firstVideoClipID() const {
    const TimelineTrack* video = videoTrack();
    if (video == nullptr || video->clips.empty()) return std::nullopt;
    return video->clips.front().id;
}

CMTime Project::totalDuration() const {
    double seconds = 0;
    if (const TimelineTrack* video = videoTrack()) {
        for (const TimelineClip& clip : video->clips) seconds += clampedSeconds(clip.trimRange.duration);
    }
    return timeFromSeconds(seconds);
}

bool Project::containsClip(const std::optional<UUID>& clipID) const {
    if (!clipID) return false;
    return std::any_of(timeline.tracks.begin(), timeline.tracks.end(), [&](const TimelineTrack& track) {
        return std::any_of(track.clips.begin(), track.clips.end(),
                           [&](const TimelineClip& clip) { return clip.id == *clipID; });
    });
}

bool Project::cameraFileExists() const {
    return recordingSession.cameraRecordingURL && recordingSession.cameraRecordingURL->exists();
}

std::vector<TimelineClipSegment> Project::clipSegments(TimelineTrack::TrackType type,
                                                       const std::map<URL, CMTime>& assetDurations) const {
    const TimelineTrack* source = track(type);
    if (source == nullptr) return {};
    std::vector<TimelineClipSegment> segments;
    CMTime running = kCMTimeZero;
    for (const TimelineClip& clip : source->clips) {
        const auto duration = assetDurations.find(clip.sourceURL);
        const CMTimeRange range = resolvedRange(
            clip, duration == assetDurations.end() ? std::nullopt : std::optional(duration->second));
        segments.push_back({clip, segments.size(), running, range});
        running = running + range.duration;
    }
    return segments;
}

}  // namespace varnelle
