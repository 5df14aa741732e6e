#include <simdjson.h>

#include <cmath>
#include <filesystem>

#include "Measure.h"
#include "camera/CursorRecordingFile.h"
#include "camera/SmoothingCamera.h"
#include "foundation/UUID.h"

namespace varnelle::bench {
namespace {

constexpr int kSamplesPerSecond = 120;
constexpr int kSeconds = 3600;

/// An hour of a pointer that wanders, rests and clicks.
CursorRecording hourOfTelemetry() {
    CursorRecording recording;
    recording.captureRegion = {0, 0, 1920, 1080};
    for (int i = 0; i < kSamplesPerSecond * kSeconds; ++i) {
        const double t = static_cast<double>(i) / kSamplesPerSecond;
        // Whole screen points, as a pointer has them.
        const double x = std::round(960 + 800 * std::sin(t * 0.7) * std::cos(t * 0.11)) / 1920;
        const double y = std::round(540 + 450 * std::sin(t * 0.43 + 1)) / 1080;
        recording.movementSamples.push_back({t, x, y, true});
        if (i % 1000 == 0)
            recording.activitySamples.push_back({t, CursorActivityKind::leftMouseDown, x, y, true});
        if (i % 1000 == 12)
            recording.activitySamples.push_back({t, CursorActivityKind::leftMouseUp, x, y, true});
    }
    return recording;
}

Row measure(const std::string& name) {
    const URL url(std::filesystem::temp_directory_path() /
                  ("varnelle-bench-" + UUID::random().string() + ".json"));
    writeCursorRecording(hourOfTelemetry(), url);
    std::size_t sampleCount = 0;
    const Medians medians = measureByTurns(
        9,
        [&] {
            const CursorRecording recording = readCursorRecording(url);
            sampleCount +=
                SmoothingCamera::buildSamples(recording, kCameraFrameRate, kCameraWindowSeconds).size();
        },
        [&] {
            simdjson::dom::parser parser;
            sampleCount += parser.load(url.string()).at_key("movementSamples").get_array().size();
        });
    std::filesystem::remove(url.path());
    if (sampleCount == 0) std::abort();
    return {name, medians.ours, medians.theirs, "ms", 4.0};
}

}  // namespace

std::vector<NamedRow> telemetryRows() {
    const std::string name = "telemetry of an hour";
    return {{name, [name] { return measure(name); }}};
}

}  // namespace varnelle::bench
