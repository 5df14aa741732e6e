#include <fmt/format.h>

#include <algorithm>
#include <iostream>

#include "CommandLine.h"
#include "camera/ActiveRanges.h"
#include "camera/AutoZoomRanges.h"
#include "camera/CursorRecordingFile.h"
#include "camera/SmoothingCamera.h"
#include "foundation/AtomicFile.h"

namespace {

using namespace varnelle;

constexpr const char* kHelp = R"(camera_report CURSOR.json [--plot OUT.svg]

Computes the automatic camera of a recording's telemetry and prints it as CSV:
  - one line "sample" per step of the path: time, pointer x and y and whether it is visible, motion state,
    camera x and y, zoom;
  - one line "camera range" per stretch in which the camera zooms, one "activity range" per stretch around
    clicks and keys, one "proposed range" per range that a new project gets: start, end.
Times are seconds of the recording; positions are 0 to 1, y upwards.

  --plot OUT.svg   also draws pointer, camera, zoom and ranges over time
)";

struct Report {
    CursorRecording recording;
    SmoothingCamera camera;
    std::vector<CMTimeRange> cameraRanges;
    std::vector<CMTimeRange> activityRanges;
    std::vector<CMTimeRange> proposedRanges;
    double duration;
};

Report makeReport(const URL& url) {
    CursorRecording recording = readCursorRecording(url);
    SmoothingCamera camera(SmoothingCamera::buildSamples(recording, kCameraFrameRate, kCameraWindowSeconds));
    const double duration = recording.lastEventTime();
    const CMTime end = timeFromSeconds(duration);
    auto cameraRanges = cameraActiveRanges(camera, end, kZoomThreshold, kSourceMinimum, kCameraMergeGap);
    auto activityRanges = activityActiveRanges(recording, end, kSourceMinimum, kActivityMergeGap);
    auto proposed = autoZoomAndPanRanges(recording, {{0, duration, 0}}, &camera, end);
    return {std::move(recording),      std::move(camera),   std::move(cameraRanges),
            std::move(activityRanges), std::move(proposed), duration};
}

const char* stateName(CursorWindowMotionState state) {
    switch (state) {
        case CursorWindowMotionState::neutral:
            return "neutral";
        case CursorWindowMotionState::hover:
            return "hover";
        case CursorWindowMotionState::travel:
            return "travel";
    }
    return "";
}

void printCSV(const Report& report) {
    fmt::print("kind,time,pointerX,pointerY,visible,state,cameraX,cameraY,zoom\n");
    for (const SmoothingCameraSample& sample : report.camera.samples()) {
        const CursorPointerState pointer = report.recording.pointerState(timeFromSeconds(sample.timeSeconds));
        fmt::print("sample,{:.4f},{:.5f},{:.5f},{},{},{:.5f},{:.5f},{:.5f}\n", sample.timeSeconds,
                   pointer.position.x, pointer.position.y,
                   pointer.visibility == CursorVisibility::visible ? 1 : 0, stateName(sample.motionState),
                   sample.snapshot.focalPoint.x, sample.snapshot.focalPoint.y, sample.snapshot.zoomScale);
    }
    const auto printRanges = [](const char* kind, const std::vector<CMTimeRange>& ranges) {
        for (const CMTimeRange& range : ranges) {
            fmt::print("{},{:.4f},{:.4f}\n", kind, range.start.seconds(), range.end().seconds());
        }
    };
    printRanges("camera range", report.cameraRanges);
    printRanges("activity range", report.activityRanges);
    printRanges("proposed range", report.proposedRanges);
}

/// Draws curves over time into SVG text.
class Plot {
public:
    explicit Plot(double duration) : duration_(std::max(duration, 0.001)) {
        svg_ = fmt::format(
            "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\" "
            "font-family=\"sans-serif\" font-size=\"12\">\n<rect width=\"{0}\" height=\"{1}\" "
            "fill=\"#fff\"/>\n",
            kWidth, kHeight);
    }

    [[nodiscard]] double x(double time) const {
        return kLeft + (kWidth - kLeft - kRight) * std::clamp(time / duration_, 0.0, 1.0);
    }
    void text(double px, double py, const std::string& words, const char* color = "#333") {
        svg_ += fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\" fill=\"{}\">{}</text>\n", px, py, color, words);
    }
    void line(double x1, double y1, double x2, double y2, const char* color) {
        svg_ += fmt::format("<line x1=\"{:.1f}\" y1=\"{:.1f}\" x2=\"{:.1f}\" y2=\"{:.1f}\" stroke=\"{}\"/>\n",
                            x1, y1, x2, y2, color);
    }
    void bars(double top, double height, const std::vector<CMTimeRange>& ranges, const char* color) {
        for (const CMTimeRange& range : ranges) {
            const double left = x(range.start.seconds());
            svg_ += fmt::format(
                "<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" rx=\"3\" fill=\"{}\"/>\n",
                left, top, x(range.end().seconds()) - left, height, color);
        }
    }
    /// A curve of values between `low` (at `bottom`) and `high` (at `top`).
    template <typename Value>
    void curve(const std::vector<SmoothingCameraSample>& samples, double top, double bottom, double low,
               double high, const char* color, const Value& value) {
        svg_ += fmt::format("<polyline fill=\"none\" stroke=\"{}\" stroke-width=\"1.5\" points=\"", color);
        // A point per pixel is as much as can be seen.
        const std::size_t step = std::max<std::size_t>(1, samples.size() / (2 * kWidth));
        for (std::size_t i = 0; i < samples.size(); i += step) {
            const double share = (value(samples[i]) - low) / (high - low);
            svg_ += fmt::format("{:.1f},{:.1f} ", x(samples[i].timeSeconds), bottom - share * (bottom - top));
        }
        svg_ += "\"/>\n";
    }
    [[nodiscard]] std::string finished() const { return svg_ + "</svg>\n"; }

    static constexpr int kWidth = 1400;
    static constexpr int kHeight = 620;
    static constexpr int kLeft = 90;
    static constexpr int kRight = 20;

private:
    double duration_;
    std::string svg_;
};

std::string plotted(const Report& report) {
    Plot plot(report.duration);
    for (int second = 0; second <= report.duration; second += report.duration > 60 ? 10 : 1) {
        plot.line(plot.x(second), 20, plot.x(second), 560, "#eee");
        plot.text(plot.x(second) - 4, 576, std::to_string(second), "#888");
    }
    const auto& samples = report.camera.samples();
    const auto pointer = [&report](const SmoothingCameraSample& sample) {
        return report.recording.pointerState(timeFromSeconds(sample.timeSeconds)).position;
    };
    plot.text(10, 100, "x", "#333");
    plot.curve(samples, 30, 180, 0, 1, "#b0b8c4", [&](const auto& sample) { return pointer(sample).x; });
    plot.curve(samples, 30, 180, 0, 1, "#2563eb",
               [](const auto& sample) { return sample.snapshot.focalPoint.x; });
    plot.text(10, 270, "y", "#333");
    plot.curve(samples, 200, 350, 0, 1, "#b0b8c4", [&](const auto& sample) { return pointer(sample).y; });
    plot.curve(samples, 200, 350, 0, 1, "#2563eb",
               [](const auto& sample) { return sample.snapshot.focalPoint.y; });
    plot.text(10, 420, "zoom", "#333");
    plot.curve(samples, 370, 460, 1, 1.6, "#d9480f",
               [](const auto& sample) { return sample.snapshot.zoomScale; });
    plot.text(10, 489, "camera", "#333");
    plot.bars(478, 14, report.cameraRanges, "#93c5fd");
    plot.text(10, 513, "activity", "#333");
    plot.bars(502, 14, report.activityRanges, "#fcd34d");
    plot.text(10, 537, "proposed", "#333");
    plot.bars(526, 14, report.proposedRanges, "#34d399");
    for (const CursorActivitySample& sample : report.recording.activitySamples) {
        if (isPress(sample.kind))
            plot.line(plot.x(sample.timeSeconds), 20, plot.x(sample.timeSeconds), 470, "#f472b6");
    }
    plot.text(Plot::kLeft, 604,
              "grey: pointer, blue: camera, orange: zoom 1 to 1.6, pink: presses; seconds across");
    return plot.finished();
}

int report(const CommandLine& arguments) {
    const Report result = makeReport(URL(arguments.positional()[0]));
    printCSV(result);
    if (const auto plot = arguments.option("plot")) writeFileAtomically(URL(*plot), plotted(result));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    return varnelle::runTool(argc, argv, kHelp, 1, report);
}
