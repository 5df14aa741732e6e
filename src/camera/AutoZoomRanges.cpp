#include "camera/AutoZoomRanges.h"

#include <algorithm>
#include <limits>

#include "camera/ActiveRanges.h"

namespace varnelle {
namespace {

using Segment = TimelineSourceTimeMapper::Segment;

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr double kTimelineMinimum = 0.12;
/// A single range over more of the timeline than this says nothing about what matters.
constexpr double kMeaninglessShare = 0.92;

CMTime sourceDuration(const std::vector<Segment>& segments) {
    double end = 0;
    for (const Segment& segment : segments) {
        end = std::max(end, segment.sourceStartSeconds + std::max(segment.length(), 0.0));
    }
    return timeFromSeconds(end);
}

double totalSeconds(const std::vector<CMTimeRange>& ranges) {
    double sum = 0;
    for (const CMTimeRange& range : ranges) sum += clampedSeconds(range.duration);
    return sum;
}

}  // namespace

std::vector<CMTimeRange> timelineRanges(const std::vector<CMTimeRange>& sourceRanges,
                                        const std::vector<Segment>& segments, double minimumDuration) {
    std::vector<CMTimeRange> result;
    for (const CMTimeRange& range : sourceRanges) {
        const double start = clampedSeconds(range.start);
        const double duration = clampedSeconds(range.duration);
        if (!(duration > kEpsilon)) continue;
        for (const Segment& segment : segments) {
            if (!(segment.length() > kEpsilon)) continue;
            const double low = std::max(start, segment.sourceStartSeconds);
            const double high = std::min(segment.sourceStartSeconds + segment.length(), start + duration);
            if (!(high - low > kEpsilon)) continue;
            result.push_back(
                {timeFromSeconds(segment.timelineStartSeconds + (low - segment.sourceStartSeconds)),
                 timeFromSeconds(high - low)});
        }
    }
    return normalizeTimeRanges(std::move(result), minimumDuration);
}

std::vector<CMTimeRange> normalizeTimeRanges(std::vector<CMTimeRange> ranges, double minimumDuration) {
    std::stable_sort(ranges.begin(), ranges.end(),
                     [](const CMTimeRange& a, const CMTimeRange& b) { return a.start < b.start; });
    const CMTime joinGap = CMTime::make(1, kTimelineTimescale);
    std::vector<CMTimeRange> merged;
    for (const CMTimeRange& range : ranges) {
        if (!merged.empty() && range.start <= merged.back().end() + joinGap) {
            const CMTime end = std::max(merged.back().end(), range.end());
            merged.back().duration = end - merged.back().start;
        } else {
            merged.push_back(range);
        }
    }
    std::erase_if(merged, [minimumDuration](const CMTimeRange& range) {
        if (!range.duration.isNumeric()) return minimumDuration > 0;
        return range.duration.seconds() < minimumDuration;
    });
    return merged;
}

std::vector<CMTimeRange> autoZoomAndPanRanges(const CursorRecording& recording,
                                              const std::vector<Segment>& segments,
                                              const SmoothingCamera* camera, const CMTime& duration) {
    const CMTime sourceEnd = sourceDuration(segments);
    std::vector<CMTimeRange> primary;
    if (camera != nullptr) {
        primary = timelineRanges(
            cameraActiveRanges(*camera, sourceEnd, kZoomThreshold, kSourceMinimum, kCameraMergeGap), segments,
            kTimelineMinimum);
    }
    const double timelineSeconds = clampedSeconds(duration);
    const bool isMeaningless = timelineSeconds > 0 && primary.size() == 1 &&
                               totalSeconds(primary) / timelineSeconds > kMeaninglessShare;
    if (!isMeaningless) return primary;
    auto fallback =
        timelineRanges(activityActiveRanges(recording, sourceEnd, kSourceMinimum, kActivityMergeGap),
                       segments, kTimelineMinimum);
    return fallback.empty() ? primary : fallback;
}

}  // namespace varnelle
