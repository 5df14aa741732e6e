#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <random>
#include <stdexcept>
#include <vector>

#include "ExportScene.h"
#include "Measure.h"
#include "media/FrameSource.h"
#include "media/MediaAsset.h"
#include "media/Player.h"
#include "media/SilentAudioOutput.h"
#include "model/ProjectPackage.h"
#include "render/AudioMixBuilder.h"
#include "render/VideoCompositor.h"

namespace varnelle::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kSeconds = 600;
constexpr int kFrameRate = 60;
/// What the editor shows of a 16 to 9 picture in a window of 1100 by 750.
constexpr CGSize kPreviewPixels{1060, 596};
constexpr double kZoomPeriod = 30;
constexpr double kZoomStart = 20;

/// A recording of ten minutes, made once for a build directory, since it takes minutes. Its text scrolls in
/// two seconds of every three; ten seconds of every thirty are zoomed.
URL longRecording() {
    const std::filesystem::path directory = VARNELLE_BENCH_RECORDING;
    const auto finished = directory / "finished";
    const URL package(directory / ("scene." + std::string(kProjectPackageExtension)));
    if (std::filesystem::exists(finished)) return package;
    std::filesystem::remove_all(directory);
    std::filesystem::create_directories(directory);
    fmt::print(stderr, "Making a recording of ten minutes in {}.\n", directory.string());
    std::vector<ZoomRange> zooms;
    for (double begin = 0; begin < kSeconds; begin += kZoomPeriod)
        zooms.push_back({begin + kZoomStart, begin + kZoomPeriod});
    const ExportScene scene = makeExportScene(URL(directory), 1, kSeconds, zooms);
    if (scene.package != package) std::filesystem::rename(scene.package.path(), package.path());
    std::filesystem::create_directory(finished);
    return package;
}

/// A player with the recording, as the editor sets it up.
class Preview {
public:
    explicit Preview(const Project& project) : player_(std::make_shared<SilentAudioOutput>()) {
        PlayerControls::Handlers handlers;
        handlers.onFailure = [](const auto&, const std::exception_ptr&) {
            fmt::print(stderr, "The recording can't be played.\n");
        };
        player_.setHandlers(std::move(handlers));
        player_.setRenderSize(kPreviewPixels);
        const CompositionResult result = VideoCompositor::buildComposition(project);
        const auto routing =
            AudioTrackRouting::pairing(result.audioTrackIDs, project.recordingSession.availableAudioSources);
        player_.replaceCurrentItem(std::make_shared<PlayerItem>(
            PlayerItem{result.composition, result.videoComposition,
                       audioMix(routing, project.timeline.audioConfiguration, 1)}));
    }

    /// Milliseconds until the frame has been shown.
    double seek(double seconds) {
        std::promise<bool> shown;
        const auto begin = Clock::now();
        player_.seek(timeFromSeconds(seconds), [&shown](bool isFinished) { shown.set_value(isFinished); });
        if (!shown.get_future().get()) throw std::runtime_error("A seek didn't come to its end.");
        return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    }

    Player::Statistics playFor(double from, double seconds, double rate = 1) {
        seek(from);
        player_.setRate(rate);
        player_.play();
        while (player_.currentTime() < timeFromSeconds(from + seconds * rate))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        const Player::Statistics statistics = player_.statistics();
        player_.pause();
        return statistics;
    }

private:
    Player player_;
};

Project projectOf(const URL& package) {
    return readPackage(package).currentProject;
}

/// Milliseconds that it takes to decode a second of the recording's text in motion.
class SecondOfFrames {
public:
    explicit SecondOfFrames(const URL& movie)
        : asset_(std::make_shared<const MediaAsset>(movie)), source_(asset_, asset_->tracks().front()) {}

    double decode(int period) {
        const int first = period * 3 * kFrameRate;
        if (!source_.frame(CMTime::make(first, kFrameRate))) throw std::runtime_error("no frame");
        const auto begin = Clock::now();
        for (int i = 1; i <= kFrameRate; ++i) {
            if (!source_.frame(CMTime::make(first + i, kFrameRate))) throw std::runtime_error("no frame");
        }
        return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    }

private:
    std::shared_ptr<const MediaAsset> asset_;
    FrameSource source_;
};

Row measureScrubs(const std::string& name) {
    constexpr int scrubs = 200;
    const Project project = projectOf(longRecording());
    Preview preview(project);
    SecondOfFrames decoding(project.recordingSession.screenRecordingURL);
    std::mt19937 random(11);
    const auto randomSeconds = [&] { return static_cast<double>(random() % 600'000) / 1000; };
    preview.seek(1);
    std::vector<double> ours;
    std::vector<double> theirs;
    for (int i = 0; i < scrubs; ++i) {
        ours.push_back(preview.seek(randomSeconds()));
        if (i % 5 == 0) theirs.push_back(decoding.decode(static_cast<int>(random() % 200)));
    }
    std::sort(ours.begin(), ours.end());
    return {name,
            ours[scrubs * 95 / 100],
            median(theirs),
            "ms",
            0.5,
            fmt::format("median {:.1f} ms, longest {:.1f} ms", median(ours), ours.back())};
}

Row measureOpening(const std::string& name) {
    const Project project = projectOf(longRecording());
    std::vector<double> times;
    for (int round = 0; round < 5; ++round) {
        const auto begin = Clock::now();
        Preview preview(project);
        preview.seek(0);
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
    }
    return {name, median(times), 1000, "ms", 1.0, "against the time that is meant"};
}

Row measurePlayback(const std::string& name, double from, double seconds, double target, double rate = 1) {
    Preview preview(projectOf(longRecording()));
    preview.seek(from);
    const Player::Statistics statistics = preview.playFor(from, seconds, rate);
    const auto wanted = static_cast<double>(statistics.framesShown + statistics.framesDropped);
    return {
        name,
        static_cast<double>(statistics.framesDropped),
        wanted,
        "frames",
        target,
        fmt::format("{:.1f} frames a second shown", static_cast<double>(statistics.framesShown) / seconds)};
}

}  // namespace

std::vector<NamedRow> playbackRows() {
    using Measurement = Row (*)(const std::string&);
    const auto row = [](const std::string& name, Measurement measure) {
        return NamedRow{name, [name, measure] { return measure(name); }};
    };
    return {
        row("preview: a scrub to a random time", measureScrubs),
        row("preview: opening to the first frame", measureOpening),
        row("preview: frames dropped, wide",
            [](const std::string& name) { return measurePlayback(name, 60, 15, 0); }),
        row("preview: frames dropped, zoomed",
            [](const std::string& name) { return measurePlayback(name, 60 + kZoomStart, 10, 0.05); }),
        row("preview: frames dropped, eight times",
            [](const std::string& name) { return measurePlayback(name, 60, 10, 1, 8); }),
    };
}

}  // namespace varnelle::bench
