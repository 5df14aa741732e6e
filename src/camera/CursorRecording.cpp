#include "camera/CursorRecording.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "camera/LowerBound.h"

namespace varnelle {
namespace {

constexpr double kShortestVelocitySpan = 1.0 / 240;
constexpr std::size_t kActivitySamplesLookedAt = 12;
constexpr double kActivityLifetime = 0.8;
constexpr double kActivityDecay = 0.45;
constexpr double kClickDuration = 0.24;
constexpr double kClickDepth = 0.3;

template <typename Sample>
void sortByTime(std::vector<Sample>& samples) {
    const auto earlier = [](const Sample& a, const Sample& b) { return a.timeSeconds < b.timeSeconds; };
    if (!std::is_sorted(samples.begin(), samples.end(), earlier)) {
        std::stable_sort(samples.begin(), samples.end(), earlier);
    }
}

template <typename Sample>
double lastTime(const std::vector<Sample>& samples) {
    return samples.empty() ? 0 : samples.back().timeSeconds;
}

double clampedToUnit(double x) {
    return x > 0 ? std::min(x, 1.0) : 0;
}

CursorPointerState pointerBetween(const std::vector<CursorMovementSample>& samples, std::size_t index,
                                  double timeSeconds) {
    const auto [previous, next, fraction] = bracketAt(samples, index, timeSeconds);
    const bool isVisible = fraction >= 0.5 ? next.isVisible : previous.isVisible;
    return {{clampedToUnit(previous.normalizedX + fraction * (next.normalizedX - previous.normalizedX)),
             clampedToUnit(previous.normalizedY + fraction * (next.normalizedY - previous.normalizedY))},
            isVisible ? CursorVisibility::visible : CursorVisibility::hidden};
}

/// A finite difference over about three samples, which stays calm on a path sampled 120 times a second.
CGPoint velocityAt(const std::vector<CursorMovementSample>& samples, std::size_t index) {
    const CursorMovementSample& first = samples[index < 3 ? 0 : index - 2];
    const CursorMovementSample& last = samples[std::min(samples.size() - 1, std::max<std::size_t>(index, 1))];
    const double span = std::max(last.timeSeconds - first.timeSeconds, kShortestVelocitySpan);
    return {(last.normalizedX - first.normalizedX) / span, (last.normalizedY - first.normalizedY) / span};
}

}  // namespace

void CursorRecording::sortSamples() {
    sortByTime(movementSamples);
    sortByTime(activitySamples);
    sortByTime(windowContextSamples);
    sortByTime(scrollSamples);
    sortByTime(keyboardSamples);
}

CursorFrameState CursorRecording::cursorState(const CMTime& sourceTime) const {
    CursorFrameState state;
    if (movementSamples.empty()) {
        state.visibility = CursorVisibility::noData;
        return state;
    }
    const double time = clampedSeconds(sourceTime);
    const std::size_t index = lowerBound(movementSamples, time);
    const CursorPointerState pointer = pointerBetween(movementSamples, index, time);
    state.position = pointer.position;
    state.visibility = pointer.visibility;
    state.velocity = velocityAt(movementSamples, index);
    state.activity = activity(time);
    state.clickScale = clickScale(time);
    state.shape = shape(time);
    return state;
}

CursorPointerState CursorRecording::pointerState(const CMTime& sourceTime) const {
    if (movementSamples.empty()) return {};
    const double time = clampedSeconds(sourceTime);
    return pointerBetween(movementSamples, lowerBound(movementSamples, time), time);
}

double CursorRecording::activity(double timeSeconds) const {
    std::size_t end = lowerBound(activitySamples, timeSeconds);
    if (end < activitySamples.size() && activitySamples[end].timeSeconds <= timeSeconds) ++end;
    double energy = 0;
    for (std::size_t i = std::max(end, kActivitySamplesLookedAt) - kActivitySamplesLookedAt; i < end; ++i) {
        const CursorActivitySample& sample = activitySamples[i];
        const double age = timeSeconds - sample.timeSeconds;
        if (!sample.isVisible || !(age <= kActivityLifetime)) continue;
        const double weight = isPress(sample.kind) ? 1.0 : 0.42;
        energy += std::exp(std::max(age, 0.0) / -kActivityDecay) * weight;
    }
    return std::min(energy, 1.0);
}

double CursorRecording::clickScale(double timeSeconds) const {
    for (std::size_t i = lowerBound(activitySamples, timeSeconds); i > 0; --i) {
        const CursorActivitySample& sample = activitySamples[i - 1];
        const double age = timeSeconds - sample.timeSeconds;
        if (age > kClickDuration) return 1;
        if (!sample.isVisible || !isPress(sample.kind)) continue;
        return 1 - kClickDepth * std::sin(std::numbers::pi * age / kClickDuration);
    }
    return 1;
}

CursorShape CursorRecording::shape(double timeSeconds) const {
    if (windowContextSamples.empty()) return CursorShape::arrow;
    const std::size_t index = std::max<std::size_t>(lowerBound(windowContextSamples, timeSeconds), 1) - 1;
    const auto& role = windowContextSamples[index].focusedElementRole;
    if (!role) return CursorShape::arrow;
    static constexpr std::array<std::string_view, 5> textRoles{"AXTextField", "AXTextArea", "AXSearchField",
                                                               "AXComboBox", "AXEditableText"};
    if (std::find(textRoles.begin(), textRoles.end(), *role) != textRoles.end()) return CursorShape::iBeam;
    return *role == "AXLink" ? CursorShape::pointingHand : CursorShape::arrow;
}

double CursorRecording::lastEventTime() const {
    return std::max({0.0, lastTime(movementSamples), lastTime(activitySamples),
                     lastTime(windowContextSamples), lastTime(scrollSamples), lastTime(keyboardSamples)});
}

std::string_view rawString(CursorActivityKind kind) {
    static constexpr std::array<std::string_view, 4> names{"leftMouseDown", "leftMouseUp", "rightMouseDown",
                                                           "rightMouseUp"};
    return names.at(static_cast<std::size_t>(kind));
}

std::string_view rawString(CursorKeyboardActivityKind kind) {
    static constexpr std::array<std::string_view, 3> names{"typing", "navigation", "shortcut"};
    return names.at(static_cast<std::size_t>(kind));
}

}  // namespace varnelle
