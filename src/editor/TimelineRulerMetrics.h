#pragma once

#include <string>
#include <vector>

namespace varnelle {

/// Which moments the ruler marks, and how. Times in seconds.
struct TimelineRulerMetrics {
    double duration = 0;
    double pixelsPerSecond = 0;
    double majorInterval = 0;
    double minorInterval = 0;
    double frameRate = 30;

    /// Intervals whose labels don't touch.
    static TimelineRulerMetrics make(double duration, double pixelsPerSecond, double frameRate);

    /// The ticks that lie in a stretch of time.
    [[nodiscard]] std::vector<double> majorTicks(double fromSeconds, double toSeconds) const;
    /// Without those where a major tick stands.
    [[nodiscard]] std::vector<double> minorTicks(double fromSeconds, double toSeconds) const;
    /// "0:05", "0:05.5", or, where ticks are frames apart, "0:05.29" with the frame's number.
    [[nodiscard]] std::string label(double seconds) const;
};

}  // namespace varnelle
