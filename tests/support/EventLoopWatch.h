#pragma once

#include <QTimer>
#include <algorithm>
#include <chrono>

namespace varnelle::test {

/// Measures for how long the event loop of the thread that makes it doesn't get to its timers.
class EventLoopWatch {
public:
    EventLoopWatch() {
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.setInterval(1);
        QObject::connect(&timer_, &QTimer::timeout, [this] { tick(); });
        timer_.start();
    }
    /// Since the watch was made; a gap that hasn't ended counts too.
    [[nodiscard]] std::chrono::milliseconds longestGap() const {
        return std::chrono::ceil<std::chrono::milliseconds>(std::max(longest_, Clock::now() - last_));
    }

private:
    using Clock = std::chrono::steady_clock;

    void tick() {
        const auto now = Clock::now();
        longest_ = std::max(longest_, now - last_);
        last_ = now;
    }

    Clock::time_point last_ = Clock::now();
    Clock::duration longest_{0};
    QTimer timer_;
};

}  // namespace varnelle::test
