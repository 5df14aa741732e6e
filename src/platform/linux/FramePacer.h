#pragma once

#include <chrono>

namespace varnelle {

/// Keeps frames a minimum interval apart on average. A frame that is taken a little late doesn't push the
/// ones after it, so a busy picture is recorded at the full rate; two frames are never closer than half the
/// interval.
class FramePacer {
public:
    using Clock = std::chrono::steady_clock;

    explicit FramePacer(std::chrono::nanoseconds interval) : interval_(interval) {}

    /// From when on the next frame may be taken.
    [[nodiscard]] Clock::time_point earliestNext() const { return earliestNext_; }
    void noteFrame(Clock::time_point takenAt) {
        const bool isSlightlyLate = takenAt - earliestNext_ <= interval_ / 2;
        earliestNext_ = (isSlightlyLate ? earliestNext_ : takenAt) + interval_;
    }

private:
    std::chrono::nanoseconds interval_;
    Clock::time_point earliestNext_{};
};

}  // namespace varnelle
