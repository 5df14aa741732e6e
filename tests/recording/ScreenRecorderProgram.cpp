// Records an X display with the real recorder, for tests that kill it or take its disk away:
//
//   screen_recorder_program DISPLAY TEMPORARY-DIRECTORY SECONDS [FILE-SIZE-LIMIT]
//
// Records for SECONDS, or until the recorder says that it has to stop.
// Prints "recording DIRECTORY" when the recording is live, and at the end "statistics RECORDED DROPPED" and
// "stopped" or "failed: " with the error's text. FILE-SIZE-LIMIT, in bytes, applies from the start on.

#include <sys/resource.h>

#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QCoro/QCoroTimer>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "platform/linux/LinuxDesktop.h"
#include "recording/RecordingCoordinator.h"

namespace {

using namespace varnelle;

/// Files beyond this size refuse further bytes, as a full disk does.
void limitFileSize(const char* bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{std::strtoull(bytes, nullptr, 10), RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
}

QCoro::Task<int> record(LinuxDesktop& desktop, URL temporaryDirectory, std::chrono::milliseconds duration,
                        const char* fileSizeLimit) {
    RecordingCoordinator coordinator(desktop, temporaryDirectory);
    bool needsStop = false;
    coordinator.onNeedsStop = [&needsStop] { needsStop = true; };
    int result = EXIT_SUCCESS;
    try {
        RecordingConfiguration configuration;
        configuration.source =
            RecordingConfiguration::DisplaySource{desktop.shareableContent({}).displays.front()};
        co_await coordinator.prepareRecording(configuration);
        if (fileSizeLimit != nullptr) limitFileSize(fileSizeLimit);
        co_await coordinator.startRecording();
        std::cout << "recording " << temporaryDirectory.string() << std::endl;
        const auto end = std::chrono::steady_clock::now() + duration;
        while (!needsStop && std::chrono::steady_clock::now() < end) {
            co_await QCoro::sleepFor(std::chrono::milliseconds(20));
        }
        co_await coordinator.stopRecording();
        std::cout << "stopped" << std::endl;
    } catch (const std::exception& error) {
        std::cout << "failed: " << error.what() << std::endl;
        result = EXIT_FAILURE;
    }
    const StreamStatistics screen = coordinator.statistics()[StreamKind::screenVideo];
    std::cout << "statistics " << screen.recordedFrames << " " << screen.droppedFrames << std::endl;
    co_return result;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    const QCoreApplication application(argumentCount, arguments);
    if (argumentCount < 4) {
        std::cerr << "usage: screen_recorder_program DISPLAY TEMPORARY-DIRECTORY SECONDS [FILE-SIZE-LIMIT]\n";
        return EXIT_FAILURE;
    }
    LinuxDesktop desktop(arguments[1]);
    const auto duration =
        std::chrono::milliseconds(static_cast<std::int64_t>(std::strtod(arguments[3], nullptr) * 1000));
    return QCoro::waitFor(record(desktop, URL(std::filesystem::path(arguments[2])), duration,
                                 argumentCount > 4 ? arguments[4] : nullptr));
}
