#include "camera/SmoothingCamera.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "camera/LowerBound.h"

namespace varnelle {
namespace {

using State = CursorWindowMotionState;

constexpr double kMaximumZoom = 1.6;
constexpr double kAnticipationSeconds = 0.34;
constexpr double kLookAheadSeconds = 0.82;
constexpr double kTargetLifetime = 0.85;
constexpr double kTravelDeadZone = 11.0 / 64;
constexpr double kHoverDeadZone = 3.0 / 32;
constexpr double kAnchorPull = 0.3;
constexpr double kScrollGain = 0.32;
constexpr double kMomentumWeight = 0.2;
constexpr double kNeutralSpeed = 0.22;
constexpr double kKeyActiveSeconds = 0.5;
constexpr double kEditActiveSeconds = 0.8;
constexpr double kScrollActiveSeconds = 0.35;
constexpr double kSettled = 0.0001;
constexpr double kNever = std::numeric_limits<double>::lowest();

struct Goal {
    CGPoint position;
    double zoom = 1;
};

/// One value on an overdamped spring (damping ratio 1.2), integrated by the semi-implicit Euler method.
struct Spring {
    double value = 0;
    double velocity = 0;

    /// Returns whether the spring has settled on the goal, within a threshold.
    bool step(double goal, double periodSeconds, double dt) {
        const double omega = 2 * std::numbers::pi / periodSeconds;
        const double acceleration = omega * omega * (goal - value) - 2.4 * omega * velocity;
        velocity += dt * acceleration;
        value += dt * velocity;
        if (!(std::abs(velocity) < kSettled && std::abs(goal - value) < kSettled)) return false;
        value = goal;
        velocity = 0;
        return true;
    }
};

/// The point nearest to where the camera is that brings `target` to the edge of the dead zone around it.
double followOutside(double deadZone, double target, double camera) {
    const double distance = target - camera;
    if (distance > deadZone) return target - deadZone;
    if (distance < -deadZone) return target + deadZone;
    return camera;
}

double clampedToFrame(double x) {
    return std::clamp(x, 0.0, 1.0);
}

/// What the events up to the present step say. Consumes each list of the recording once, in order.
class EventReader {
public:
    explicit EventReader(const CursorRecording& recording) : recording_(recording) {}

    void consume(double t) {
        consumeScroll(t);
        consumeActivity(t);
        consumeKeyboard(t);
    }

    /// Of this step alone.
    [[nodiscard]] CGPoint scrollOffset() const { return scrollOffset_; }
    [[nodiscard]] bool isLeftButtonHeld() const { return isLeftButtonHeld_; }
    [[nodiscard]] bool isScrollActive(double t) const { return t - lastScrollTime_ < kScrollActiveSeconds; }
    [[nodiscard]] bool isKeyActive(double t) const { return t - lastKeyboardTime_ < kKeyActiveSeconds; }
    [[nodiscard]] bool isEditActive(double t) const {
        return t - std::max(lastTypingTime_, lastNavigationTime_) < kEditActiveSeconds;
    }
    /// Whether a visible press comes soon.
    [[nodiscard]] bool anticipatesPress(double t) const {
        const auto& samples = recording_.activitySamples;
        for (std::size_t i = nextActivity_; i < samples.size(); ++i) {
            if (samples[i].timeSeconds > t + kAnticipationSeconds) return false;
            if (samples[i].isVisible && isPress(samples[i].kind)) return true;
        }
        return false;
    }

private:
    void consumeScroll(double t) {
        CGPoint sum;
        for (const auto& samples = recording_.scrollSamples;
             nextScroll_ < samples.size() && samples[nextScroll_].timeSeconds <= t; ++nextScroll_) {
            const CursorScrollSample& sample = samples[nextScroll_];
            if (!sample.isVisible) continue;
            const double weight = sample.isMomentum ? kMomentumWeight : 1;
            sum.x += sample.normalizedDeltaX * weight;
            sum.y += sample.normalizedDeltaY * weight;
            lastScrollTime_ = sample.timeSeconds;
        }
        scrollOffset_ = {sum.x * kScrollGain, sum.y * kScrollGain};
    }

    void consumeActivity(double t) {
        for (const auto& samples = recording_.activitySamples;
             nextActivity_ < samples.size() && samples[nextActivity_].timeSeconds <= t; ++nextActivity_) {
            const CursorActivitySample& sample = samples[nextActivity_];
            if (!sample.isVisible) continue;
            if (sample.kind == CursorActivityKind::leftMouseDown) isLeftButtonHeld_ = true;
            if (sample.kind == CursorActivityKind::leftMouseUp) isLeftButtonHeld_ = false;
        }
    }

    void consumeKeyboard(double t) {
        for (const auto& samples = recording_.keyboardSamples;
             nextKeyboard_ < samples.size() && samples[nextKeyboard_].timeSeconds <= t; ++nextKeyboard_) {
            const CursorKeyboardActivitySample& sample = samples[nextKeyboard_];
            if (!sample.isVisible) continue;
            if (sample.kind == CursorKeyboardActivityKind::typing) lastTypingTime_ = sample.timeSeconds;
            if (sample.kind == CursorKeyboardActivityKind::navigation)
                lastNavigationTime_ = sample.timeSeconds;
            lastKeyboardTime_ = sample.timeSeconds;
        }
    }

    const CursorRecording& recording_;
    std::size_t nextScroll_ = 0;
    std::size_t nextActivity_ = 0;
    std::size_t nextKeyboard_ = 0;
    CGPoint scrollOffset_;
    bool isLeftButtonHeld_ = false;
    double lastScrollTime_ = kNever;
    double lastTypingTime_ = kNever;
    double lastNavigationTime_ = kNever;
    double lastKeyboardTime_ = kNever;
};

/// The simulation: springs that chase a goal which is decided anew at each step, with a target that is
/// remembered between steps so that a short pause in the motion doesn't disturb the picture.
class Simulation {
public:
    Simulation(const CursorRecording& recording, double dt, double windowSeconds)
        : recording_(recording), dt_(dt), window_(windowSeconds), events_(recording) {
        const CursorPointerState start = recording.pointerState(kCMTimeZero);
        const CGPoint position =
            start.visibility == CursorVisibility::noData ? CGPoint{0.5, 0.5} : start.position;
        x_.value = position.x;
        y_.value = position.y;
        storedTarget_ = {position, 1};
    }

    SmoothingCameraSample step(double t) {
        events_.consume(t);
        readCursor(t);
        const auto statistics = window_.statistics();
        state_ = overriddenByButtons(classifyMotion(statistics, state_), t);

        const double sinceTarget = t - lastTargetTime_;
        Goal goal = goalByState(statistics, sinceTarget, t);
        goal = goalAfterKeysAndScroll(goal, statistics, t);
        integrate(goal, sinceTarget, t);
        return {t, {{x_.value, y_.value}, zoom_.value}, state_};
    }

private:
    [[nodiscard]] CGPoint cameraPosition() const { return {x_.value, y_.value}; }

    void commit(const Goal& target, double time) {
        storedTarget_ = target;
        lastTargetTime_ = time;
    }

    void readCursor(double t) {
        const CursorPointerState pointer = recording_.pointerState(timeFromSeconds(t));
        isVisible_ = pointer.visibility == CursorVisibility::visible;
        cursor_ = pointer.visibility == CursorVisibility::noData ? cameraPosition() : pointer.position;
        if (isVisible_) {
            window_.append({t, pointer.position});
        } else {
            window_.removeAll();
            state_ = State::neutral;
        }
    }

    /// The camera settles on a target before a click lands there, and a drag always counts as work at one
    /// place.
    [[nodiscard]] State overriddenByButtons(State state, double t) const {
        if (isVisible_ && (events_.anticipatesPress(t) || events_.isLeftButtonHeld())) return State::hover;
        return state;
    }

    Goal goalByState(const std::optional<CursorWindowStatistics>& statistics, double sinceTarget, double t) {
        if (state_ == State::neutral) {
            if (sinceTarget < kTargetLifetime) return storedTarget_;
            return {isVisible_ ? cursor_ : cameraPosition(), 1};
        }
        CGPoint target = cursor_;
        double deadZone = kHoverDeadZone;
        if (state_ == State::travel) {
            const CursorPointerState ahead = recording_.pointerState(timeFromSeconds(t + kLookAheadSeconds));
            if (ahead.visibility != CursorVisibility::noData) target = ahead.position;
            deadZone = kTravelDeadZone;
        } else if (statistics) {
            const CGPoint mean = statistics->meanPosition;
            target = {mean.x + (cursor_.x - mean.x) * kAnchorPull,
                      mean.y + (cursor_.y - mean.y) * kAnchorPull};
        }
        const Goal goal{
            {followOutside(deadZone, target.x, x_.value), followOutside(deadZone, target.y, y_.value)},
            kMaximumZoom};
        commit(goal, t);
        return goal;
    }

    Goal goalAfterKeysAndScroll(Goal goal, const std::optional<CursorWindowStatistics>& statistics,
                                double t) {
        const bool isKeyActive = events_.isKeyActive(t);
        const bool isEditActive = events_.isEditActive(t);
        if (isKeyActive || isEditActive) goal = {cursor_, kMaximumZoom};
        if (events_.isScrollActive(t)) {
            const CGPoint offset = events_.scrollOffset();
            const double zoom = std::max(zoom_.value, 1.0);
            goal = {{cursor_.x + offset.x / zoom, cursor_.y + offset.y / zoom},
                    std::clamp(goal.zoom, 1.0, kMaximumZoom)};
            commit(goal, t);
            return goal;
        }
        const bool movesModerately = statistics && statistics->speed > kNeutralSpeed;
        if (state_ != State::neutral || isKeyActive || isEditActive || movesModerately) commit(goal, t);
        return goal;
    }

    struct Periods {
        double position, zoom;
    };

    [[nodiscard]] Periods springPeriods(double sinceTarget, double t) const {
        if (events_.isKeyActive(t) || events_.isEditActive(t)) return {0.78, 0.95};
        if (events_.isScrollActive(t)) return {0.78, 1.05};
        if (state_ == State::hover) return {0.85, 1.05};
        if (state_ == State::travel) return {0.78, 1.05};
        if (sinceTarget >= kTargetLifetime) return {0.86, 1.1};
        return {0.95, 1.15};
    }

    void integrate(const Goal& goal, double sinceTarget, double t) {
        const Periods periods = springPeriods(sinceTarget, t);
        zoom_.step(goal.zoom, periods.zoom, dt_);
        zoom_.value = std::max(zoom_.value, 1.0);
        x_.step(clampedToFrame(goal.position.x), periods.position, dt_);
        y_.step(clampedToFrame(goal.position.y), periods.position, dt_);
        x_.value = clampedToFrame(x_.value);
        y_.value = clampedToFrame(y_.value);
    }

    const CursorRecording& recording_;
    const double dt_;
    CursorMotionWindow window_;
    EventReader events_;
    State state_ = State::neutral;
    bool isVisible_ = false;
    CGPoint cursor_;
    Spring x_;
    Spring y_;
    Spring zoom_{1, 0};
    Goal storedTarget_;
    double lastTargetTime_ = kNever;
};

}  // namespace

std::vector<SmoothingCameraSample> SmoothingCamera::buildSamples(const CursorRecording& recording,
                                                                 int frameRate, double windowSeconds) {
    constexpr int lowestRate = 30;
    const double dt = 1.0 / std::max(frameRate, lowestRate);
    const double end = recording.lastEventTime() + dt;
    if (recording.movementSamples.empty() || !(end >= 0)) return {};
    std::vector<SmoothingCameraSample> samples;
    samples.reserve(static_cast<std::size_t>(std::min(end / dt, 1e8)) + 2);
    Simulation simulation(recording, dt, windowSeconds);
    for (double t = 0; t <= end; t += dt) samples.push_back(simulation.step(t));
    return samples;
}

std::optional<SmoothingCameraSnapshot> SmoothingCamera::snapshot(const CMTime& sourceTime) const {
    if (samples_.empty()) return std::nullopt;
    const double time = clampedSeconds(sourceTime);
    const auto [previous, next, fraction] = bracketAt(samples_, lowerBound(samples_, time), time);
    const double f = std::clamp(fraction, 0.0, 1.0);
    const SmoothingCameraSnapshot& a = previous.snapshot;
    const SmoothingCameraSnapshot& b = next.snapshot;
    return SmoothingCameraSnapshot{{a.focalPoint.x + f * (b.focalPoint.x - a.focalPoint.x),
                                    a.focalPoint.y + f * (b.focalPoint.y - a.focalPoint.y)},
                                   a.zoomScale + f * (b.zoomScale - a.zoomScale)};
}

}  // namespace varnelle
