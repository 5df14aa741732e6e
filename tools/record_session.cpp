#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QCoro/QCoroTimer>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "camera/CursorRecordingFile.h"
#include "foundation/Error.h"
#include "foundation/URL.h"
#include "media/MediaAsset.h"
#include "platform/linux/LinuxDesktop.h"
#include "recording/CameraManager.h"
#include "recording/RecordingCoordinator.h"
#include "tasks/Await.h"

namespace {

using namespace varnelle;
using Clock = std::chrono::steady_clock;

constexpr const char* kHelp =
    "record_session SECONDS [--streams LIST] [--directory DIRECTORY]\n\n"
    "Records the first display with the program's own recorder and prints what came of it, as a line of "
    "JSON.\n\n"
    "  --streams LIST         what is recorded beside the screen: system, microphone, camera, joined by "
    "commas\n"
    "  --directory DIRECTORY  where the session directory is made; the system's place for large files by "
    "default\n";

constexpr std::chrono::seconds kMemoryInterval{5};

/// The resident memory of this process in bytes; 0 if the system doesn't tell.
std::uint64_t residentBytes() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 6, "VmRSS:") == 0) return std::stoull(line.substr(6)) * 1024;
    }
    return 0;
}

bool holds(const std::string& list, const std::string& word) {
    return ("," + list + ",").find("," + word + ",") != std::string::npos;
}

nlohmann::json tracksOf(const URL& movie) {
    const MediaAsset asset(movie);
    nlohmann::json tracks = nlohmann::json::array();
    for (const MediaTrack& track : asset.tracks()) {
        nlohmann::json entry{{"kind", track.mediaType == MediaType::video ? "video" : "sound"},
                             {"seconds", track.duration.seconds()}};
        if (track.sampleIndex) entry["frames"] = track.sampleIndex->size();
        tracks.push_back(entry);
    }
    return tracks;
}

QCoro::Task<int> record(CommandLine arguments) {
    const double seconds = CommandLine::number(arguments.positional()[0], "seconds");
    const std::string streams = arguments.option("streams").value_or("");
    const auto directory = arguments.option("directory");
    LinuxDesktop desktop;
    const ShareableContent content = desktop.shareableContent({});
    if (content.displays.empty()) throw Error("There is no display to record.");
    RecordingCoordinator coordinator(desktop, directory ? URL(*directory) : temporaryDirectory(),
                                     cameraManagerFactory(desktop));
    bool needsStop = false;
    coordinator.onNeedsStop = [&needsStop] { needsStop = true; };
    RecordingConfiguration configuration;
    configuration.source = RecordingConfiguration::DisplaySource{content.displays.front()};
    configuration.captureSystemAudio = holds(streams, "system");
    configuration.captureMicrophone = holds(streams, "microphone");
    configuration.captureCamera = holds(streams, "camera");
    co_await coordinator.prepareRecording(configuration);
    co_await coordinator.startRecording();

    const auto live = Clock::now();
    std::vector<std::uint64_t> memory{residentBytes()};
    while (Clock::now() - live < std::chrono::duration<double>(seconds) && !needsStop) {
        const double left = seconds - std::chrono::duration<double>(Clock::now() - live).count();
        const auto wait = std::min<std::chrono::milliseconds>(
            kMemoryInterval, std::chrono::milliseconds(std::max<long>(std::lround(left * 1000), 1)));
        co_await QCoro::sleepFor(wait);
        memory.push_back(residentBytes());
    }
    const RecordingSession session = co_await coordinator.stopRecording();
    const RecordingStatistics statistics = coordinator.statistics();
    const CursorRecording telemetry = readCursorRecording(*session.cursorRecordingURL);

    // What start-up takes is over after a tenth of the time.
    const auto settled = memory.begin() + static_cast<std::ptrdiff_t>(memory.size() / 10);
    const auto [least, most] = std::minmax_element(settled, memory.end());
    nlohmann::json result{{"directory", session.directoryURL.string()},
                          {"hadToStop", needsStop},
                          {"residentBytes", {{"least", *least}, {"most", *most}, {"last", memory.back()}}},
                          {"screen", tracksOf(session.screenRecordingURL)},
                          {"pointerSamples", telemetry.movementSamples.size()},
                          {"pointerSeconds", telemetry.movementSamples.back().timeSeconds}};
    if (session.cameraRecordingURL) result["camera"] = tracksOf(*session.cameraRecordingURL);
    const std::vector<std::pair<const char*, StreamKind>> kinds{{"screen", StreamKind::screenVideo},
                                                                {"camera", StreamKind::cameraVideo},
                                                                {"system", StreamKind::systemAudio},
                                                                {"microphone", StreamKind::microphoneAudio}};
    for (const auto& [name, kind] : kinds) {
        result["samples"][name] = {{"recorded", statistics[kind].recordedFrames},
                                   {"dropped", statistics[kind].droppedFrames}};
    }
    std::cout << result.dump() << "\n";
    co_return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    return varnelle::runTool(argc, argv, kHelp, 1, [](const varnelle::CommandLine& arguments) {
        return varnelle::await(record(arguments));
    });
}
