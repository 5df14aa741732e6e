#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "camera/AutoZoomRanges.h"
#include "camera/CursorRecordingFile.h"
#include "camera/SmoothingCamera.h"

using namespace varnelle;

namespace {

/// A path over more than this takes too long to look at many times a second.
constexpr double kLongestPathSeconds = 20;

void require(bool condition) {
    if (!condition) std::abort();
}

void buildPath(const CursorRecording& recording) {
    const SmoothingCamera camera(
        SmoothingCamera::buildSamples(recording, kCameraFrameRate, kCameraWindowSeconds));
    for (const SmoothingCameraSample& sample : camera.samples()) {
        require(std::isfinite(sample.snapshot.focalPoint.x) && std::isfinite(sample.snapshot.focalPoint.y));
        require(std::isfinite(sample.snapshot.zoomScale) && sample.snapshot.zoomScale >= 1);
    }
    for (const double seconds : {0.0, recording.lastEventTime() / 2, recording.lastEventTime() + 1}) {
        const CursorFrameState state = recording.cursorState(timeFromSeconds(seconds));
        require(state.position.x >= 0 && state.position.x <= 1 && state.position.y >= 0 &&
                state.position.y <= 1);
    }
}

}  // namespace

/// Whatever the bytes of a telemetry file are, reading them ends in a recording or in an error of ours, and
/// every recording that was read has a camera path of finite numbers.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    try {
        const CursorRecording recording =
            parseCursorRecording(std::string(reinterpret_cast<const char*>(bytes), count), "fuzz.json");
        if (recording.lastEventTime() <= kLongestPathSeconds) buildPath(recording);
    } catch (const Error&) {
        return 0;
    }
    return 0;
}
