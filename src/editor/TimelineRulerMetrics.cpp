#include "editor/TimelineRulerMetrics.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>

#include "app/DurationFormat.h"

namespace varnelle {
namespace {

constexpr double kMinimumMajorWidth = 92;
/// Room for rounding at the end of the timeline, in seconds.
constexpr double kEndTolerance = 0.0001;
/// How near to a major tick a minor one is the same, in major intervals.
constexpr double kSameTick = 0.001;

std::int64_t lastTick(double duration, double interval) {
    return static_cast<std::int64_t>((duration + kEndTolerance) / interval);
}

template <typename Add>
void forEachTick(const TimelineRulerMetrics& metrics, double interval, double fromSeconds, double toSeconds,
                 const Add& add) {
    if (!(interval > 0) || !std::isfinite(metrics.duration)) return;
    const std::int64_t last = lastTick(metrics.duration, interval);
    const double first = std::clamp(std::ceil(fromSeconds / interval), 0.0, static_cast<double>(last) + 1);
    for (auto i = static_cast<std::int64_t>(first); i <= last; ++i) {
        const double tick = static_cast<double>(i) * interval;
        if (tick > toSeconds) break;
        add(tick);
    }
}

/// Frames to a time, where the nearest double of a whole number of them may lie a hair below it.
std::int64_t wholeFrames(double seconds, double frameRate) {
    constexpr double rounding = 1e-9;
    return static_cast<std::int64_t>(std::floor(seconds * frameRate * (1 + rounding) + rounding));
}

}  // namespace

TimelineRulerMetrics TimelineRulerMetrics::make(double duration, double pixelsPerSecond, double frameRate) {
    const double frame = 1 / frameRate;
    const std::array<std::pair<double, double>, 12> intervals{{{2 * frame, frame},
                                                               {5 * frame, frame},
                                                               {10 * frame, 2 * frame},
                                                               {0.5, 0.1},
                                                               {1, 0.2},
                                                               {2, 0.5},
                                                               {5, 1},
                                                               {10, 2},
                                                               {15, 5},
                                                               {30, 5},
                                                               {60, 10},
                                                               {120, 20}}};
    const auto* chosen = std::find_if(intervals.begin(), intervals.end(), [&](const auto& interval) {
        return interval.first * pixelsPerSecond >= kMinimumMajorWidth;
    });
    if (chosen == intervals.end()) --chosen;
    return {std::max(0.0, duration), pixelsPerSecond, chosen->first, chosen->second, frameRate};
}

std::vector<double> TimelineRulerMetrics::majorTicks(double fromSeconds, double toSeconds) const {
    std::vector<double> ticks;
    forEachTick(*this, majorInterval, fromSeconds, toSeconds, [&](double tick) { ticks.push_back(tick); });
    return ticks;
}

std::vector<double> TimelineRulerMetrics::minorTicks(double fromSeconds, double toSeconds) const {
    std::vector<double> ticks;
    forEachTick(*this, minorInterval, fromSeconds, toSeconds, [&](double tick) {
        const double majors = tick / majorInterval;
        if (std::abs(majors - std::round(majors)) >= kSameTick) ticks.push_back(tick);
    });
    return ticks;
}

std::string TimelineRulerMetrics::label(double seconds) const {
    if (!std::isfinite(seconds)) return "0:00";
    if (majorInterval >= 1) return menuBarDuration(seconds);
    if (majorInterval >= 0.5) return durationWithTenths(seconds);
    const std::int64_t frames = wholeFrames(std::max(0.0, seconds), frameRate);
    const auto framesPerSecond = static_cast<std::int64_t>(frameRate);
    const std::int64_t wholeSeconds = frames / framesPerSecond;
    return fmt::format("{}.{:02}", menuBarDuration(static_cast<double>(wholeSeconds)),
                       frames % framesPerSecond);
}

}  // namespace varnelle
