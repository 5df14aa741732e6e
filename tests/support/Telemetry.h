#pragma once

#include <cmath>
#include <functional>

#include "camera/CursorRecording.h"

namespace varnelle::test {

/// Telemetry sampled 120 times a second whose pointer follows a function of time.
inline CursorRecording pointerPath(
    double seconds, const std::function<CGPoint(double)>& position,
    const std::function<bool(double)>& isVisible = [](double) { return true; }) {
    CursorRecording recording;
    recording.captureRegion = {0, 0, 1920, 1080};
    for (int i = 0; i <= std::lround(seconds * 120); ++i) {
        const double t = i / 120.0;
        const CGPoint point = position(t);
        recording.movementSamples.push_back({t, point.x, point.y, isVisible(t)});
    }
    return recording;
}

inline CursorRecording restingPointer(double seconds, CGPoint at) {
    return pointerPath(seconds, [at](double) { return at; });
}

inline CursorActivitySample button(double time, CursorActivityKind kind, bool isVisible = true) {
    return {time, kind, 0.5, 0.5, isVisible};
}

}  // namespace varnelle::test
