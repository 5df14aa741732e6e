#include "camera/MotionAnalysis.h"

#include <algorithm>
#include <cmath>

namespace varnelle {
namespace {

constexpr double kShortestWindowSeconds = 0.2;
constexpr double kShortestDuration = 1.0 / 240;

/// Limits of a test; all of them are included.
struct TravelLimits {
    double duration, speed, dispersion;
    [[nodiscard]] bool hold(const CursorWindowStatistics& s) const {
        return s.duration >= duration && s.speed >= speed && s.dispersion >= dispersion;
    }
};

struct HoverLimits {
    double duration, speed, dispersion;
    [[nodiscard]] bool hold(const CursorWindowStatistics& s) const {
        return s.duration >= duration && s.speed <= speed && s.dispersion <= dispersion;
    }
};

constexpr TravelLimits kEnterTravel{0.26, 0.4, 0.09};
constexpr TravelLimits kSustainTravel{0.26, 0.12, 0.03};
constexpr HoverLimits kEnterHover{0.2, 0.18, 0.06};
constexpr HoverLimits kSustainHover{0.2, 0.55, 0.16};

}  // namespace

CursorMotionWindow::CursorMotionWindow(double windowSeconds)
    : windowSeconds_(std::max(windowSeconds, kShortestWindowSeconds)) {}

void CursorMotionWindow::append(const CursorWindowPositionSample& sample) {
    const double distance =
        count() == 0 ? 0 : std::hypot(sample.position.x - x_.back(), sample.position.y - y_.back());
    times_.push_back(sample.timeSeconds);
    x_.push_back(sample.position.x);
    y_.push_back(sample.position.y);
    distances_.push_back(distance);
    while (count() > 0 && times_[first_] < sample.timeSeconds - windowSeconds_) ++first_;

    constexpr std::size_t mostDeadSamples = 4096;
    if (first_ < mostDeadSamples) return;
    const auto dropDead = [this](std::vector<double>& column) {
        column.erase(column.begin(), column.begin() + static_cast<std::ptrdiff_t>(first_));
    };
    for (auto* column : {&times_, &x_, &y_, &distances_}) dropDead(*column);
    first_ = 0;
}

void CursorMotionWindow::removeAll() {
    for (auto* column : {&times_, &x_, &y_, &distances_}) column->clear();
    first_ = 0;
}

std::optional<CursorWindowStatistics> CursorMotionWindow::statistics() const {
    const std::size_t n = count();
    if (n < 2) return std::nullopt;
    const double* x = x_.data() + first_;
    const double* y = y_.data() + first_;
    const double* distances = distances_.data() + first_;

    double sumX = 0;
    double sumY = 0;
    double pathLength = -distances[0];  // that one leads in from outside the window
#pragma omp simd reduction(+ : sumX, sumY, pathLength)
    for (std::size_t i = 0; i < n; ++i) {
        sumX += x[i];
        sumY += y[i];
        pathLength += distances[i];
    }
    CursorWindowStatistics result;
    result.sampleCount = n;
    result.meanPosition = {sumX / static_cast<double>(n), sumY / static_cast<double>(n)};
    result.duration = std::max(times_.back() - times_[first_], 0.0);
    result.speed = std::max(pathLength, 0.0) / std::max(result.duration, kShortestDuration);

    double sumOfDistances = 0;
#pragma omp simd reduction(+ : sumOfDistances)
    for (std::size_t i = 0; i < n; ++i) {
        const double dx = x[i] - result.meanPosition.x;
        const double dy = y[i] - result.meanPosition.y;
        sumOfDistances += std::sqrt(dx * dx + dy * dy);
    }
    result.dispersion = sumOfDistances / static_cast<double>(n);
    return result;
}

CursorWindowMotionState classifyMotion(const std::optional<CursorWindowStatistics>& statistics,
                                       CursorWindowMotionState previous) {
    if (!statistics || statistics->sampleCount < 2) return CursorWindowMotionState::neutral;
    if (previous == CursorWindowMotionState::hover && kSustainHover.hold(*statistics)) {
        return CursorWindowMotionState::hover;
    }
    if (previous == CursorWindowMotionState::travel && kSustainTravel.hold(*statistics)) {
        return CursorWindowMotionState::travel;
    }
    if (kEnterTravel.hold(*statistics)) return CursorWindowMotionState::travel;
    if (kEnterHover.hold(*statistics)) return CursorWindowMotionState::hover;
    return CursorWindowMotionState::neutral;
}

}  // namespace varnelle
