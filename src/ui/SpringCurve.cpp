#include "ui/SpringCurve.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace varnelle {
namespace {

/// Close enough to 1 for the formula of the swinging spring to be that of the one that just doesn't.
constexpr double kLargestDamping = 0.9999;
constexpr double kSmallestDamping = 0.05;
constexpr double kRest = 0.001;
/// As many as QEasingCurve has room for; it writes beyond its arrays with more.
constexpr int kSegments = 10;

struct Spring {
    Spring(double response, double dampingFraction)
        : damping(std::clamp(dampingFraction, kSmallestDamping, kLargestDamping)),
          frequency(2 * std::numbers::pi / std::max(response, 0.001)),
          swing(frequency * std::sqrt(1 - damping * damping)) {}

    [[nodiscard]] double position(double t) const {
        const double decay = std::exp(-damping * frequency * t);
        return 1 - decay * (std::cos(swing * t) + damping * frequency / swing * std::sin(swing * t));
    }
    [[nodiscard]] double velocity(double t) const {
        return frequency * frequency / swing * std::exp(-damping * frequency * t) * std::sin(swing * t);
    }
    /// From the envelope of the swings.
    [[nodiscard]] double duration() const {
        return std::log(std::min(frequency / swing, 10.0) / kRest) / (damping * frequency);
    }

    double damping;
    double frequency;  ///< radians a second, undamped
    double swing;      ///< radians a second
};

}  // namespace

int SpringCurve::durationMilliseconds(double response, double dampingFraction) {
    return static_cast<int>(std::lround(1000 * Spring(response, dampingFraction).duration()));
}

QVariantList SpringCurve::bezierCurve(double response, double dampingFraction) {
    const Spring spring(response, dampingFraction);
    const double duration = spring.duration();
    // Denser at the beginning, where the spring is fast.
    const auto knot = [](int i) { return std::pow(static_cast<double>(i) / kSegments, 1.3); };
    QVariantList points;
    // Each segment takes place and speed at its ends from the spring.
    for (int i = 0; i < kSegments; ++i) {
        const double from = knot(i);
        const double to = knot(i + 1);
        const double step = to - from;
        const double slopeFrom = spring.velocity(from * duration) * duration;
        const double slopeTo = spring.velocity(to * duration) * duration;
        const bool isLast = i == kSegments - 1;
        const double end = isLast ? 1.0 : spring.position(to * duration);
        points << from + step / 3 << spring.position(from * duration) + slopeFrom * step / 3  //
               << to - step / 3 << end - slopeTo * step / 3                                   //
               << (isLast ? 1.0 : to) << end;
    }
    return points;
}

}  // namespace varnelle
