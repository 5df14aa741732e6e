#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "foundation/Geometry.h"

namespace varnelle {

/// What the user does with the pointer: nothing that can be told, working around one place, or moving
/// elsewhere.
enum class CursorWindowMotionState { neutral, hover, travel };

/// A pointer position of the recent past.
struct CursorWindowPositionSample {
    double timeSeconds = 0;
    CGPoint position;  ///< normalised
};

/// Summary of the pointer's recent path. Distances are in normalised units as they stand: a step across the
/// width counts the same as one up the height.
struct CursorWindowStatistics {
    CGPoint meanPosition;
    double speed = 0;       ///< path length per second
    double dispersion = 0;  ///< mean distance from the mean position
    double duration = 0;    ///< seconds between the first and the last sample
    std::size_t sampleCount = 0;
};

/// The sliding window over the pointer's path: the samples of the last `windowSeconds`, oldest first. Kept as
/// columns, because the statistics are computed anew at each step of the camera.
class CursorMotionWindow {
public:
    /// `windowSeconds` at or below 0.2 becomes 0.2.
    explicit CursorMotionWindow(double windowSeconds);

    /// Adds a sample, and drops those that are older than the window as seen from it.
    void append(const CursorWindowPositionSample& sample);
    void removeAll();

    [[nodiscard]] std::size_t count() const { return times_.size() - first_; }
    /// Absent for fewer than two samples.
    [[nodiscard]] std::optional<CursorWindowStatistics> statistics() const;

private:
    double windowSeconds_;
    // Samples before `first_` have left the window; they are dropped for good once in a while.
    std::size_t first_ = 0;
    std::vector<double> times_;
    std::vector<double> x_;
    std::vector<double> y_;
    std::vector<double> distances_;  // from the sample before
};

/// Names the motion, with hysteresis: staying in a state is easier than entering it.
CursorWindowMotionState classifyMotion(const std::optional<CursorWindowStatistics>& statistics,
                                       CursorWindowMotionState previous);

}  // namespace varnelle
