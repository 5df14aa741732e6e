#include <QCoreApplication>
#include <QCoroTask>
#include <QCoroTimer>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <iostream>

#include "foundation/Error.h"
#include "platform/linux/LinuxDesktop.h"
#include "recording/RecordingCoordinator.h"
#include "tasks/Await.h"

namespace {

using namespace varnelle;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kReportInterval{500};

QCoro::Task<> record(double seconds, URL directory) {
    LinuxDesktop desktop;
    const ShareableContent content = desktop.shareableContent({});
    if (content.displays.empty()) throw Error("There is no display to record.");
    RecordingCoordinator coordinator(desktop, directory);
    RecordingConfiguration configuration;
    configuration.source = RecordingConfiguration::DisplaySource{content.displays.front()};
    co_await coordinator.prepareRecording(configuration);
    co_await coordinator.startRecording();
    const auto live = Clock::now();
    const auto report = [&coordinator] {
        const StreamStatistics screen = coordinator.statistics()[StreamKind::screenVideo];
        std::cout << "frame=" << screen.recordedFrames << "\ndropped=" << screen.droppedFrames << std::endl;
    };
    while (std::chrono::duration<double>(Clock::now() - live).count() < seconds) {
        report();
        co_await QCoro::sleepFor(kReportInterval);
    }
    const RecordingSession session = co_await coordinator.stopRecording();
    report();
    std::cout << "movie=" << session.screenRecordingURL.string() << std::endl;
}

}  // namespace

/// bench_recorder SECONDS DIRECTORY: records the display of $DISPLAY with the real recorder, into the
/// directory. Prints how many frames are recorded twice a second, in the words of ffmpeg's progress.
int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    if (argc != 3) {
        std::cerr << "bench_recorder SECONDS DIRECTORY\n";
        return 2;
    }
    try {
        varnelle::await(record(std::atof(argv[1]), URL(argv[2])));
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
    return 0;
}
