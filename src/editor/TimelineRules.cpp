#include "editor/TimelineRules.h"

#include <algorithm>
#include <cmath>

namespace varnelle {
namespace {

constexpr double kSnapRadius = 10;  // points
constexpr double kMinimumSnapRadiusSeconds = 0.08;
/// Of a cut to a clip's ends.
constexpr double kCutMarginSeconds = 1.0 / 600;
constexpr double kSkimGridSeconds = 1.0 / 60;

}  // namespace

double snappedSeekSeconds(double seconds, double pixelsPerSecond, double displayDurationSeconds,
                          const std::vector<TimelineSpan>& spans) {
    double nearest = 0;
    const auto consider = [&](double candidate) {
        if (std::abs(candidate - seconds) < std::abs(nearest - seconds)) nearest = candidate;
    };
    consider(displayDurationSeconds);
    for (const TimelineSpan& span : spans) {
        consider(std::max(0.0, span.start));
        if (span.duration > 0) consider(std::max(0.0, span.end()));
    }
    const double radius = pixelsPerSecond > 1
                              ? std::max(kSnapRadius / pixelsPerSecond, kMinimumSnapRadiusSeconds)
                              : kSnapRadius;
    const double result = std::abs(nearest - seconds) > radius ? seconds : nearest;
    return std::isfinite(result) ? std::max(0.0, result) : 0;
}

const TimelineSpan* spanAt(const std::vector<TimelineSpan>& spans, double seconds) {
    const auto found = std::find_if(spans.rbegin(), spans.rend(), [seconds](const TimelineSpan& span) {
        return span.start <= seconds && seconds < span.end();
    });
    return found == spans.rend() ? nullptr : &*found;
}

std::optional<TimelineCutTarget> cutTarget(double seconds, const std::vector<TimelineSpan>& spans) {
    if (spans.empty()) return std::nullopt;
    const TimelineSpan* span = spanAt(spans, seconds);
    if (span == nullptr) span = &spans.back();
    if (!(span->duration > 2 * kCutMarginSeconds)) return std::nullopt;
    const double offset =
        std::clamp(seconds - span->start, kCutMarginSeconds, span->duration - kCutMarginSeconds);
    return TimelineCutTarget{span->clipID, offset, span->start + offset};
}

std::optional<double> skimmedSeconds(double seconds, const std::optional<double>& lastScrubbedSeconds) {
    const double snapped = std::trunc(seconds / kSkimGridSeconds) * kSkimGridSeconds;
    if (lastScrubbedSeconds && !(std::abs(*lastScrubbedSeconds - snapped) >= kSkimGridSeconds / 2)) {
        return std::nullopt;
    }
    return snapped;
}

TimelineDeletion deletion(bool hasSelectedClip, bool hasSelectedZoomPanClip, bool canDeleteClip,
                          bool canDeleteZoomPanClip) {
    if (hasSelectedZoomPanClip && canDeleteZoomPanClip) return TimelineDeletion::zoomPanClip;
    if (hasSelectedClip && canDeleteClip) return TimelineDeletion::clip;
    if (canDeleteZoomPanClip) return TimelineDeletion::zoomPanClip;
    return canDeleteClip ? TimelineDeletion::clip : TimelineDeletion::nothing;
}

}  // namespace varnelle
