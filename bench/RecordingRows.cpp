#include <fmt/format.h>

#include <chrono>
#include <stdexcept>

#include "EncoderArguments.h"
#include "Measure.h"
#include "Program.h"
#include "recording/RecordingGeometry.h"
#include "support/TemporaryDirectory.h"

namespace varnelle::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Arguments = std::vector<std::string>;

constexpr PixelSize kScreen{1920, 1080};
constexpr double kRecordedSeconds = 6;
/// What a recorder does to get going isn't part of the rate: measuring begins so long after its first frame.
constexpr double kWarmUpSeconds = 1;
constexpr int kRounds = 2;

/// A private display with a desktop on it, drawn by a process that isn't counted.
class Desktop {
public:
    explicit Desktop(const std::string& kind)
        : server_({"Xvfb", "-displayfd", "1", "-screen", "0",
                   fmt::format("{}x{}x24", kScreen.width, kScreen.height), "-nolisten", "tcp", "-noreset"}),
          display_("DISPLAY=:" + server_.readLine().value_or("")),
          painter_({VARNELLE_BENCH_DESKTOP, kind}, {display_}) {
        if (painter_.readLine() != "ready") throw std::runtime_error("The desktop to record didn't come up.");
    }

    [[nodiscard]] const std::string& environment() const { return display_; }
    [[nodiscard]] std::string name() const { return display_.substr(display_.find('=') + 1); }

private:
    Program server_;
    std::string display_;
    Program painter_;
};

/// What a recorder took from the end of its warm-up to its end, the completion of the file included.
struct Recording {
    double seconds = 0;
    double processorSeconds = 0;
    int frames = 0;
    std::string movie;

    [[nodiscard]] double millisecondsPerFrame() const { return 1000 * processorSeconds / frames; }
    [[nodiscard]] double millisecondsPerSecond() const { return 1000 * processorSeconds / seconds; }
};

/// Follows a recorder that reports its frames as "frame=N".
Recording follow(Program& recorder) {
    constexpr std::string_view frameKey = "frame=";
    constexpr std::string_view movieKey = "movie=";
    Recording recording;
    std::optional<Clock::time_point> firstFrame;
    std::optional<Clock::time_point> begin;
    double processorAtBegin = 0;
    int framesAtBegin = 0;
    while (const auto line = recorder.readLine()) {
        if (line->starts_with(movieKey)) recording.movie = line->substr(movieKey.size());
        if (!line->starts_with(frameKey)) continue;
        recording.frames = std::stoi(line->substr(frameKey.size()));
        const auto now = Clock::now();
        if (recording.frames > 0 && !firstFrame) firstFrame = now;
        if (begin || !firstFrame || std::chrono::duration<double>(now - *firstFrame).count() < kWarmUpSeconds)
            continue;
        begin = now;
        processorAtBegin = recorder.processorSeconds();
        framesAtBegin = recording.frames;
    }
    const Usage usage = recorder.waitForEnd();
    if (!begin) throw std::runtime_error("A recorder recorded nothing.");
    recording.seconds = std::chrono::duration<double>(Clock::now() - *begin).count();
    recording.processorSeconds = usage.processorSeconds - processorAtBegin;
    recording.frames -= framesAtBegin;
    return recording;
}

Recording recordOurs(const Desktop& desktop, const URL& directory) {
    Program recorder(
        {VARNELLE_BENCH_RECORDER, fmt::format("{}", kWarmUpSeconds + kRecordedSeconds), directory.string()},
        {desktop.environment()});
    return follow(recorder);
}

/// The software encoder that made a movie.
std::string encoderOf(const std::string& movie) {
    Program probe({"ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "stream=codec_name",
                   "-of", "csv=p=0", movie});
    return probe.readLine().value_or("").starts_with("hevc") ? "libx265" : "libx264";
}

Recording recordTheirs(const Desktop& desktop, const std::string& encoder, const URL& movie) {
    Arguments arguments{"ffmpeg",
                        "-nostdin",
                        "-y",
                        "-loglevel",
                        "error",
                        "-progress",
                        "pipe:1",
                        "-stats_period",
                        "0.5",
                        "-f",
                        "x11grab",
                        "-framerate",
                        "60",
                        "-video_size",
                        fmt::format("{}x{}", kScreen.width, kScreen.height),
                        "-draw_mouse",
                        "0",
                        "-i",
                        desktop.name(),
                        "-t",
                        fmt::format("{}", kWarmUpSeconds + kRecordedSeconds),
                        "-fps_mode",
                        "passthrough"};
    const Arguments encoding = captureEncoderArguments(encoder, screenBitRate(kScreen));
    arguments.insert(arguments.end(), encoding.begin(), encoding.end());
    arguments.push_back(movie.string());
    Program recorder(arguments);
    return follow(recorder);
}

Row compare(const std::string& name, const std::string& desktopKind, const std::string& unit, double target,
            double (Recording::*figure)() const) {
    const test::TemporaryDirectory directory;
    const Desktop desktop(desktopKind);
    std::vector<double> ours;
    std::vector<double> theirs;
    std::string note;
    for (int round = 0; round < kRounds; ++round) {
        const Recording a = recordOurs(desktop, directory.url());
        const std::string encoder = encoderOf(a.movie);
        const Recording b = recordTheirs(desktop, encoder, directory.file("theirs.mov"));
        ours.push_back((a.*figure)());
        theirs.push_back((b.*figure)());
        note = fmt::format("({}, {:.1f} / {:.1f} frames a second)", encoder, a.frames / a.seconds,
                           b.frames / b.seconds);
    }
    return {name, median(ours), median(theirs), unit, target, note};
}

/// Against one percent of a core.
Row telemetryCost(const std::string& name) {
    constexpr double kAllowedMillisecondsPerSecond = 10;
    const test::TemporaryDirectory directory;
    const Desktop desktop("still");
    std::vector<double> taken;
    for (int round = 0; round < kRounds; ++round) {
        Program recorder({VARNELLE_BENCH_TELEMETRY, fmt::format("{}", kRecordedSeconds),
                          directory.file("cursor.json").string()},
                         {desktop.environment()});
        taken.push_back(std::stod(recorder.readLine().value_or("nan")));
        (void)recorder.waitForEnd();
    }
    return {name, median(taken), kAllowedMillisecondsPerSecond, "ms/s", 1, "(against a hundredth of a core)"};
}

}  // namespace

std::vector<NamedRow> recordingRows() {
    const std::string busy = "recording a busy 1080p desktop";
    const std::string still = "recording a still 1080p desktop";
    const std::string telemetry = "recording the telemetry of a moving pointer";
    return {
        {telemetry, [telemetry] { return telemetryCost(telemetry); }},
        {busy, [busy] { return compare(busy, "busy", "ms/frame", 1.1, &Recording::millisecondsPerFrame); }},
        {still, [still] { return compare(still, "still", "ms/s", 0.1, &Recording::millisecondsPerSecond); }}};
}

}  // namespace varnelle::bench
