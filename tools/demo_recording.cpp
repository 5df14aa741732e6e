#include <sys/wait.h>

#include <QCoreApplication>
#include <QCoroTask>
#include <QCoroTimer>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>
#include <thread>

#include "CommandLine.h"
#include "export/ExportEngine.h"
#include "foundation/Error.h"
#include "media/MediaAsset.h"
#include "model/ProjectPackage.h"
#include "platform/linux/LinuxDesktop.h"
#include "recording/RecordingCoordinator.h"
#include "render/VideoCompositor.h"
#include "tasks/Await.h"
#include "timeline/TimelineEditor.h"

namespace {

using namespace varnelle;
using Clock = std::chrono::steady_clock;

constexpr const char* kHelp = R"(demo_recording OUT.mp4 [--seconds S] [--during COMMAND] [--wallpaper PATH]

Records the primary display of $DISPLAY at 60 frames a second, makes a project of it with the automatic zoom
ranges, saves that as a package beside OUT.mp4, reads it back and exports it at 1920x1080. The last line of
the output is a JSON object with the figures.

  --seconds S        record for at least so long (20)
  --during COMMAND   a shell command to run while recording; the recording lasts until it ends
  --wallpaper PATH   the canvas behind the recording (the wallpaper that new projects have)
)";

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

struct Recorded {
    RecordingSession session;
    RecordingStatistics statistics;
    double seconds = 0;
};

QCoro::Task<Recorded> record(DesktopPlatform& desktop, double minimumSeconds, std::string command) {
    const ShareableContent content = desktop.shareableContent({});
    if (content.displays.empty()) throw Error("There is no display to record.");
    RecordingCoordinator coordinator(desktop, temporaryDirectory());
    RecordingConfiguration configuration;
    configuration.source = RecordingConfiguration::DisplaySource{content.displays.front()};
    const auto start = Clock::now();
    co_await coordinator.prepareRecording(configuration);
    co_await coordinator.startRecording();

    const auto live = Clock::now();
    std::atomic<bool> hasEnded = command.empty();
    const std::jthread work([&command, &hasEnded] {
        if (!command.empty() && std::system(command.c_str()) != 0)
            std::cerr << "“" << command << "” failed.\n";
        hasEnded = true;
    });
    while (!hasEnded || secondsSince(live) < minimumSeconds)
        co_await QCoro::sleepFor(std::chrono::milliseconds(50));
    Recorded recorded;
    recorded.session = co_await coordinator.stopRecording();
    recorded.statistics = coordinator.statistics();
    recorded.seconds = secondsSince(start);
    co_return recorded;
}

/// The project of a recording, with the proposed zoom ranges on its lane.
Project makeProject(const RecordingSession& session, const std::string& wallpaper) {
    OverlayConfiguration look;
    look.wallpaperPath = wallpaper;
    const MediaAsset movie(session.screenRecordingURL);
    ProjectEditorState state;
    state.currentProject = Project::make(session, movie.duration(), look);
    TimelineEditor editor(state);
    editor.seedZoomPanClips(VideoCompositor::buildComposition(editor.project()).autoZoomAndPanActiveRanges);
    return editor.project();
}

QCoro::Task<double> exportMovie(Project project, URL output) {
    ExportSettings settings;
    settings.preset = ExportPreset::fullHD;
    settings.outputDirectory = output.parent();
    settings.customFilename = output.stem();
    ExportEngine engine;
    std::exception_ptr failure;
    const auto start = Clock::now();
    const std::function<void(double)> ignoreProgress = [](double) {};
    const std::function<void(ExportEngine::Result)> keepFailure = [&failure](ExportEngine::Result result) {
        if (auto* error = std::get_if<std::exception_ptr>(&result)) failure = *error;
    };
    co_await engine.exportProject(project, settings, ignoreProgress, keepFailure);
    if (failure) std::rethrow_exception(failure);
    co_return secondsSince(start);
}

nlohmann::json figures(const Recorded& recorded, const Project& project, const URL& package,
                       const URL& output, double exportSeconds) {
    const MediaAsset movie(output);
    const auto video = movie.tracks(MediaType::video);
    nlohmann::json zoomRanges = nlohmann::json::array();
    for (const TimelineZoomPanClip& clip : project.timeline.zoomPanClips) {
        zoomRanges.push_back({clip.timeRange.start.seconds(), clip.timeRange.end().seconds()});
    }
    return {{"movie", output.string()},
            {"package", package.string()},
            {"sessionDirectory", recorded.session.directoryURL.string()},
            {"durationSeconds", movie.duration().seconds()},
            {"frames", video.empty() ? 0 : video.front().sampleIndex->size()},
            {"recordedFrames", recorded.statistics[StreamKind::screenVideo].recordedFrames},
            {"droppedFrames", recorded.statistics[StreamKind::screenVideo].droppedFrames},
            {"zoomRanges", zoomRanges},
            {"recordSeconds", recorded.seconds},
            {"exportSeconds", exportSeconds}};
}

QCoro::Task<int> demo(CommandLine arguments) {
    const URL output(arguments.positional()[0]);
    if (output.pathExtension() != "mp4")
        throw Error("The movie's name “" + output.string() + "” must end in .mp4.");
    const double seconds = CommandLine::number(arguments.option("seconds").value_or("20"), "seconds");
    LinuxDesktop desktop;
    const Recorded recorded = co_await record(desktop, seconds, arguments.option("during").value_or(""));

    ProjectEditorState state;
    state.currentProject = makeProject(
        recorded.session, arguments.option("wallpaper").value_or(std::string(kDefaultWallpaperPath)));
    const URL package = writePackage(
        state, output.parent().appending(output.stem() + "." + std::string(kProjectPackageExtension)));
    const Project reopened = readPackage(package).currentProject;
    const double exportSeconds = co_await exportMovie(reopened, output);
    std::cout << figures(recorded, reopened, package, output, exportSeconds).dump() << "\n";
    co_return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    return varnelle::runTool(argc, argv, kHelp, 1, [](const varnelle::CommandLine& arguments) {
        return varnelle::await(demo(arguments));
    });
}
