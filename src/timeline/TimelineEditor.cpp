#include "timeline/TimelineEditor.h"

#include <algorithm>
#include <cmath>

#include "foundation/Log.h"
#include "model/ProjectDocument.h"
#include "timeline/ZoomPanClipArithmetic.h"

namespace varnelle {
namespace {

constexpr double kMinimumTrimSeconds = 0.25;
constexpr CMTime kSplitMargin{1, kTimelineTimescale, CMTime::valid, 0};

CMTime lengthOnTimeline(const TimelineClip& clip) {
    return timeFromSeconds(clampedSeconds(clip.trimRange.duration));
}

/// Lays the clips of each track end to end. Tracks that lie so already keep sharing their storage with the
/// snapshots.
void closeGaps(Timeline& timeline) {
    for (std::size_t trackIndex = 0; trackIndex < timeline.tracks.size(); ++trackIndex) {
        CMTime running = kCMTimeZero;
        for (std::size_t i = 0; i < timeline.tracks[trackIndex].clips.size(); ++i) {
            const TimelineClip& clip = timeline.tracks[trackIndex].clips[i];
            const CMTime length = lengthOnTimeline(clip);
            if (clip.timelineOffset != running) {
                timeline.tracks.mutableElements()[trackIndex].clips.mutableElements()[i].timelineOffset =
                    running;
            }
            running = running + length;
        }
    }
}

/// Moves the top of one stack into the project's place, and the project onto the other stack.
void step(Project& project, std::vector<Project>& from, std::vector<Project>& to) {
    if (from.empty()) return;
    to.push_back(std::move(project));
    project = std::move(from.back());
    from.pop_back();
}

template <typename Clip>
std::optional<std::size_t> indexOf(const UUID& clipID, const std::vector<Clip>& clips) {
    const auto found =
        std::find_if(clips.begin(), clips.end(), [&](const Clip& clip) { return clip.id == clipID; });
    if (found == clips.end()) return std::nullopt;
    return static_cast<std::size_t>(found - clips.begin());
}

/// Place of a clip in one of the tracks; absent if there is no such track or clip.
std::optional<std::size_t> indexOf(const UUID& clipID, std::size_t trackIndex, const Project& project) {
    if (trackIndex >= project.timeline.tracks.size()) return std::nullopt;
    return indexOf(clipID, project.timeline.tracks[trackIndex].clips.elements());
}

std::vector<TimelineClip>& mutableClips(Project& project, std::size_t trackIndex) {
    return project.timeline.tracks.mutableElements()[trackIndex].clips.mutableElements();
}

/// The part of its source that a clip gets when a trim asks for `start` and `duration`.
CMTimeRange trimmedRange(const CMTimeRange& current, const std::optional<CMTime>& requestedStart,
                         const std::optional<CMTime>& requestedDuration, double assetSeconds) {
    const double minimum = std::min(assetSeconds, kMinimumTrimSeconds);
    const double latestStart = std::max(0.0, assetSeconds - minimum);
    const CMTime start =
        timeFromSeconds(std::min(clampedSeconds(requestedStart.value_or(current.start)), latestStart));
    const double longest = std::max(minimum, assetSeconds - clampedSeconds(start));
    const double duration =
        std::clamp(clampedSeconds(requestedDuration.value_or(current.duration)), minimum, longest);
    return {start, timeFromSeconds(duration)};
}

/// Lets the zoom-pan clips follow a clip of the timeline whose length changes at its end.
void followLength(SharedList<TimelineZoomPanClip>& zoomPanClips, const CMTime& clipOffset,
                  const CMTime& oldLength, const CMTime& newLength) {
    const CMTime delta = newLength - oldLength;
    if (!(std::abs(delta.seconds()) > kTimeComparisonEpsilon)) return;  // also if the old length is infinite
    const CMTime oldEnd = clipOffset + oldLength;
    const CMTime newEnd = clipOffset + newLength;
    zoomPanClips = delta >= kCMTimeZero ? insertingTime(zoomPanClips.elements(), oldEnd, delta)
                                        : removingRange(zoomPanClips.elements(), {newEnd, oldEnd - newEnd});
}

}  // namespace

void TimelineEditor::commit(Project project) {
    if (!isStorable(project)) {
        logger(LogCategory::app).error("An edit was refused: one of its values can't be stored.");
        return;
    }
    closeGaps(project.timeline);
    state_.undoStack.push_back(std::move(state_.currentProject));
    state_.redoStack.clear();
    state_.currentProject = std::move(project);
}

void TimelineEditor::undo() {
    step(state_.currentProject, state_.undoStack, state_.redoStack);
}

void TimelineEditor::redo() {
    step(state_.currentProject, state_.redoStack, state_.undoStack);
}

void TimelineEditor::splitClip(const UUID& clipID, std::size_t trackIndex, const CMTime& offset) {
    const auto index = indexOf(clipID, trackIndex, project());
    if (!index) return;
    const TimelineClip clip = project().timeline.tracks[trackIndex].clips[*index];
    if (!clip.trimRange.duration.isNumeric()) return;
    if (offset <= kSplitMargin || offset >= clip.trimRange.duration - kSplitMargin) return;

    const CMTime leftDuration = timeFromSeconds(clampedSeconds(offset));
    const TimelineClip left{
        UUID::random(), clip.sourceURL, {clip.trimRange.start, leftDuration}, clip.timelineOffset};
    const TimelineClip right{UUID::random(),
                             clip.sourceURL,
                             {clip.trimRange.start + leftDuration, clip.trimRange.duration - leftDuration},
                             clip.timelineOffset + leftDuration};
    Project changed = project();
    std::vector<TimelineClip>& clips = mutableClips(changed, trackIndex);
    clips[*index] = left;
    clips.insert(clips.begin() + static_cast<std::ptrdiff_t>(*index) + 1, right);
    commit(std::move(changed));
}

void TimelineEditor::deleteClip(const UUID& clipID, std::size_t trackIndex) {
    const auto index = indexOf(clipID, trackIndex, project());
    if (!index || project().timeline.tracks[trackIndex].clips.size() < 2) return;
    Project changed = project();
    std::vector<TimelineClip>& clips = mutableClips(changed, trackIndex);
    const TimelineClip& clip = clips[*index];
    changed.timeline.zoomPanClips = removingRange(changed.timeline.zoomPanClips.elements(),
                                                  {clip.timelineOffset, clip.trimRange.duration});
    clips.erase(clips.begin() + static_cast<std::ptrdiff_t>(*index));
    commit(std::move(changed));
}

void TimelineEditor::trimClip(const UUID& clipID, std::size_t trackIndex, const std::optional<CMTime>& start,
                              const std::optional<CMTime>& duration,
                              const std::optional<CMTime>& assetDuration) {
    const auto index = indexOf(clipID, trackIndex, project());
    if (!index) return;
    const TimelineTrack& track = project().timeline.tracks[trackIndex];
    const TimelineClip clip = track.clips[*index];
    const double assetSeconds = clampedSeconds(assetDuration.value_or(clip.trimRange.duration));
    if (assetSeconds <= 0) return;
    const CMTimeRange current = resolvedRange(clip, assetDuration);
    const CMTimeRange trimmed = trimmedRange(current, start, duration, assetSeconds);
    if (isSameTime(trimmed, current)) return;

    Project changed = project();
    mutableClips(changed, trackIndex)[*index].trimRange = trimmed;
    if (track.type == TimelineTrack::TrackType::video) {
        followLength(changed.timeline.zoomPanClips, clip.timelineOffset, clip.trimRange.duration,
                     trimmed.duration);
    }
    commit(std::move(changed));
}

void TimelineEditor::addZoomPanClip(const CMTimeRange& timeRange) {
    std::vector<TimelineZoomPanClip> clips = project().timeline.zoomPanClips.elements();
    clips.push_back({UUID::random(),
                     {timeFromSeconds(clampedSeconds(timeRange.start)),
                      timeFromSeconds(clampedSeconds(timeRange.duration))}});
    commitZoomPanClips(std::move(clips));
}

void TimelineEditor::trimZoomPanClip(const UUID& clipID, const CMTime& start, const CMTime& duration,
                                     const CMTime& timelineDuration) {
    const double timelineSeconds = clampedSeconds(timelineDuration);
    if (timelineSeconds <= 0) return;
    std::vector<TimelineZoomPanClip> clips = sortedByStart(project().timeline.zoomPanClips.elements());
    const auto index = indexOf(clipID, clips);
    if (!index) return;
    const auto trimmed = trimmedZoomPanRange(clips, *index, {start, duration}, timelineSeconds);
    if (!trimmed) return;
    clips[*index].timeRange = *trimmed;
    commitZoomPanClips(std::move(clips));
}

void TimelineEditor::moveZoomPanClip(const UUID& clipID, const CMTime& timelineDuration,
                                     double startSeconds) {
    const double timelineSeconds = clampedSeconds(timelineDuration);
    if (timelineSeconds <= 0) return;
    std::vector<TimelineZoomPanClip> clips = sortedByStart(project().timeline.zoomPanClips.elements());
    const auto index = indexOf(clipID, clips);
    if (!index) return;
    const CMTime start = movedZoomPanStart(clips, *index, startSeconds, timelineSeconds);
    if (isSameTime(start, clips[*index].timeRange.start)) return;
    clips[*index].timeRange.start = start;
    commitZoomPanClips(std::move(clips));
}

void TimelineEditor::deleteZoomPanClip(const UUID& clipID) {
    std::vector<TimelineZoomPanClip> clips = project().timeline.zoomPanClips.elements();
    if (std::erase_if(clips, [&](const TimelineZoomPanClip& clip) { return clip.id == clipID; }) == 0) return;
    commitZoomPanClips(std::move(clips));
}

void TimelineEditor::seedZoomPanClips(const std::vector<CMTimeRange>& ranges) {
    auto& clips = state_.currentProject.timeline.zoomPanClips;
    if (!clips.empty()) return;
    for (const CMTimeRange& range : ranges) clips.append({UUID::random(), range});
}

void TimelineEditor::commitZoomPanClips(std::vector<TimelineZoomPanClip> clips) {
    Project changed = project();
    changed.timeline.zoomPanClips = sortedByStart(std::move(clips));
    commit(std::move(changed));
}

}  // namespace varnelle
