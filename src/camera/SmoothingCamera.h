#pragma once

#include <optional>
#include <vector>

#include "camera/CursorRecording.h"
#include "camera/MotionAnalysis.h"
#include "foundation/CMTime.h"
#include "foundation/Geometry.h"

namespace varnelle {

/// Where the virtual camera looks, and how far it has zoomed.
struct SmoothingCameraSnapshot {
    CGPoint focalPoint;  ///< normalised point of the screen picture that is wished at the centre of the view
    double zoomScale = 1;  ///< relative to the whole canvas, at least 1
    bool operator==(const SmoothingCameraSnapshot&) const = default;
};

struct SmoothingCameraSample {
    double timeSeconds = 0;  ///< source time
    SmoothingCameraSnapshot snapshot;
    CursorWindowMotionState motionState = CursorWindowMotionState::neutral;
};

/// A precomputed camera path over one recording, in source time: a damped spring that chases a target derived
/// from the telemetry. Immutable and safe to share between threads.
class SmoothingCamera {
public:
    explicit SmoothingCamera(std::vector<SmoothingCameraSample> samples) : samples_(std::move(samples)) {}

    /// Computes the path in one pass, `frameRate` samples a second (30 if that is lower), with the motion
    /// judged over the last `windowSeconds`. Empty if the recording holds no movement.
    static std::vector<SmoothingCameraSample> buildSamples(const CursorRecording& recording, int frameRate,
                                                           double windowSeconds);

    [[nodiscard]] const std::vector<SmoothingCameraSample>& samples() const { return samples_; }
    /// The interpolated camera at a moment of source time; absent if there are no samples.
    [[nodiscard]] std::optional<SmoothingCameraSnapshot> snapshot(const CMTime& sourceTime) const;

private:
    std::vector<SmoothingCameraSample> samples_;
};

/// The rate and window that every composition builds its camera with.
inline constexpr int kCameraFrameRate = 120;
inline constexpr double kCameraWindowSeconds = 0.78;

}  // namespace varnelle
