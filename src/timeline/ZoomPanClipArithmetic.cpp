#include "timeline/ZoomPanClipArithmetic.h"

#include <algorithm>
#include <cmath>

namespace varnelle {
namespace {

CMTime onTimeline(const CMTime& time) {
    return timeFromSeconds(clampedSeconds(time));
}

/// A usable length: what isn't a positive finite time counts as none.
CMTime length(const TimelineZoomPanClip& clip) {
    const CMTime& duration = clip.timeRange.duration;
    return duration.isNumeric() && duration > kCMTimeZero ? duration : kCMTimeZero;
}

CMTime start(const TimelineZoomPanClip& clip) {
    return clip.timeRange.start.isNumeric() ? std::max(kCMTimeZero, clip.timeRange.start) : kCMTimeZero;
}

double startSeconds(const TimelineZoomPanClip& clip) {
    return clampedSeconds(clip.timeRange.start);
}

double endSeconds(const TimelineZoomPanClip& clip) {
    return clampedSeconds(start(clip) + length(clip));
}

double previousEnd(const std::vector<TimelineZoomPanClip>& sorted, std::size_t index) {
    return index == 0 ? 0 : endSeconds(sorted[index - 1]);
}

double nextStart(const std::vector<TimelineZoomPanClip>& sorted, std::size_t index, double timelineSeconds) {
    return index + 1 == sorted.size() ? timelineSeconds : startSeconds(sorted[index + 1]);
}

/// What a removed range leaves of a clip, or nothing.
std::optional<CMTimeRange> remaining(const TimelineZoomPanClip& clip, const CMTimeRange& removed) {
    const CMTime clipStart = start(clip);
    const CMTime clipEnd = clipStart + length(clip);
    if (clipEnd <= removed.start) return clip.timeRange;
    if (clipStart >= removed.end())
        return CMTimeRange{onTimeline(clipStart - removed.duration), clip.timeRange.duration};
    const CMTime overlap = std::min(clipEnd, removed.end()) - std::max(clipStart, removed.start);
    const CMTime left = onTimeline(length(clip) - overlap);
    if (left < kMinimumZoomPanDuration) return std::nullopt;
    return CMTimeRange{onTimeline(std::min(removed.start, clipStart)), left};
}

}  // namespace

bool isSameTime(const CMTime& a, const CMTime& b) {
    return std::abs(clampedSeconds(a) - clampedSeconds(b)) <= kTimeComparisonEpsilon;
}

bool isSameTime(const CMTimeRange& a, const CMTimeRange& b) {
    return isSameTime(a.start, b.start) && isSameTime(a.duration, b.duration);
}

std::vector<TimelineZoomPanClip> sortedByStart(std::vector<TimelineZoomPanClip> clips) {
    std::stable_sort(clips.begin(), clips.end(),
                     [](const TimelineZoomPanClip& a, const TimelineZoomPanClip& b) {
                         return startSeconds(a) < startSeconds(b);
                     });
    return clips;
}

std::vector<TimelineZoomPanClip> insertingTime(std::vector<TimelineZoomPanClip> clips, const CMTime& time,
                                               const CMTime& delta) {
    if (clampedSeconds(delta) <= kTimeComparisonEpsilon) return clips;
    for (TimelineZoomPanClip& clip : clips) {
        if (start(clip) >= time) clip.timeRange.start = onTimeline(start(clip) + delta);
    }
    return clips;
}

std::vector<TimelineZoomPanClip> removingRange(const std::vector<TimelineZoomPanClip>& clips,
                                               const CMTimeRange& range) {
    if (clampedSeconds(range.duration) <= kTimeComparisonEpsilon) return clips;
    std::vector<TimelineZoomPanClip> kept;
    for (const TimelineZoomPanClip& clip : clips) {
        if (const auto timeRange = remaining(clip, range)) kept.push_back({clip.id, *timeRange});
    }
    return sortedByStart(std::move(kept));
}

std::optional<CMTimeRange> trimmedZoomPanRange(const std::vector<TimelineZoomPanClip>& sorted,
                                               std::size_t index, const CMTimeRange& requested,
                                               double timelineSeconds) {
    const double lowest = std::min(previousEnd(sorted, index), timelineSeconds);
    const double highest = std::min(nextStart(sorted, index, timelineSeconds), timelineSeconds);
    const double minimum = std::min(timelineSeconds, clampedSeconds(kMinimumZoomPanDuration));
    const double requestedStart = clampedSeconds(requested.start);
    const double requestedEnd = requestedStart + clampedSeconds(requested.duration);

    const double start = std::min(std::max(lowest, highest - minimum), std::max(lowest, requestedStart));
    const double shortestEnd = std::min(highest, std::max(start, start + minimum));
    const double end = std::min(highest, std::max(shortestEnd, requestedEnd));
    const CMTimeRange range{timeFromSeconds(start), timeFromSeconds(std::max(0.0, end - start))};

    const bool isLongEnough = range.duration >= timeFromSeconds(minimum);
    if (!isLongEnough || isSameTime(range, sorted[index].timeRange)) return std::nullopt;
    return range;
}

CMTime movedZoomPanStart(const std::vector<TimelineZoomPanClip>& sorted, std::size_t index,
                         double requestedSeconds, double timelineSeconds) {
    const double lowest = previousEnd(sorted, index);
    const double latestStart =
        nextStart(sorted, index, timelineSeconds) - clampedSeconds(length(sorted[index]));
    return timeFromSeconds(std::min(std::max(lowest, latestStart), std::max(lowest, requestedSeconds)));
}

}  // namespace varnelle
