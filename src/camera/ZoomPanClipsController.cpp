#include "camera/ZoomPanClipsController.h"

#include <algorithm>
#include <cmath>

namespace varnelle {
namespace {

constexpr double kShortestTransition = 1.0 / 120;

/// Smootherstep (Perlin): first and second derivatives are zero at both ends.
double smootherstep(double w) {
    return w * w * w * (w * (6 * w - 15) + 10);
}

}  // namespace

ZoomPanClipsController::ZoomPanClipsController(const std::vector<CMTimeRange>& ranges)
    : ranges_(normalizeClipRanges(ranges)) {}

void ZoomPanClipsController::replaceRanges(const std::vector<CMTimeRange>& ranges) {
    auto normalized = normalizeClipRanges(ranges);
    const std::lock_guard lock(lock_);
    ranges_ = std::move(normalized);
    ++revision_;
}

std::vector<ZoomPanClipsController::ClipRange> ZoomPanClipsController::ranges() const {
    const std::lock_guard lock(lock_);
    return ranges_;
}

ZoomPanState ZoomPanClipsController::state(const CMTime& timelineTime, double transitionDuration) const {
    const double t = clampedSeconds(timelineTime);
    ZoomPanState state;
    state.transitionDuration = std::max(transitionDuration, kShortestTransition);
    ClipRange range;
    {
        const std::lock_guard lock(lock_);
        state.revision = revision_;
        const auto after =
            std::upper_bound(ranges_.begin(), ranges_.end(), t,
                             [](double time, const ClipRange& r) { return time < r.startSeconds; });
        if (after != ranges_.begin()) range = *(after - 1);
    }
    if (!(t < range.endSeconds)) return state;

    const double up = std::clamp((t - range.startSeconds) / state.transitionDuration, 0.0, 1.0);
    const double down = std::clamp((range.endSeconds - t) / state.transitionDuration, 0.0, 1.0);
    state.progress = smootherstep(std::min(up, down));
    if (down < up && down < 1) {
        state.phase = ZoomPanPhase::leaving;
    } else {
        state.phase = up < 1 ? ZoomPanPhase::entering : ZoomPanPhase::holding;
    }
    state.rangeStart = range.startSeconds;
    state.rangeEnd = range.endSeconds;
    state.isEmpty = false;
    return state;
}

std::vector<ZoomPanClipsController::ClipRange> normalizeClipRanges(const std::vector<CMTimeRange>& ranges) {
    using ClipRange = ZoomPanClipsController::ClipRange;
    std::vector<ClipRange> usable;
    for (const CMTimeRange& range : ranges) {
        const double start = clampedSeconds(range.start);
        const double end = start + clampedSeconds(range.duration);
        if (std::isfinite(end) && start < end) usable.push_back({start, end});
    }
    std::sort(usable.begin(), usable.end(),
              [](const ClipRange& a, const ClipRange& b) { return a.startSeconds < b.startSeconds; });
    std::vector<ClipRange> merged;
    for (const ClipRange& range : usable) {
        if (!merged.empty() && range.startSeconds <= merged.back().endSeconds) {
            merged.back().endSeconds = std::max(merged.back().endSeconds, range.endSeconds);
        } else {
            merged.push_back(range);
        }
    }
    return merged;
}

}  // namespace varnelle
