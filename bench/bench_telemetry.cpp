#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <thread>

#include "platform/linux/LinuxDesktop.h"
#include "recording/CursorRecorder.h"

namespace {

using namespace varnelle;
using namespace std::chrono_literals;

constexpr auto kMoveInterval = 8ms;
constexpr auto kWarmUp = 1s;

/// Leads the pointer round in circles, as a mouse with 125 reports a second would. Doesn't return.
[[noreturn]] void movePointer() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    for (int step = 0; xcb_connection_has_error(connection) == 0; ++step) {
        const double angle = step * 0.02;
        const auto coordinate = [](double middle, double offset) {
            return static_cast<std::int16_t>(std::lround(middle + 150 * offset));
        };
        xcb_test_fake_input(connection, XCB_MOTION_NOTIFY, 0, 0, XCB_NONE, coordinate(320, std::cos(angle)),
                            coordinate(240, std::sin(angle)), 0);
        xcb_flush(connection);
        std::this_thread::sleep_for(kMoveInterval);
    }
    _exit(1);
}

double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double record(double seconds, const URL& file) {
    LinuxDesktop desktop;
    const CGRect region = desktop.shareableContent({}).displays.at(0).frame;
    CursorRecorder recorder(
        file, 120, region,
        {desktop.makePointerInput(), desktop.makeInputMonitors(), desktop.makeFocusInput()});
    recorder.start(hostTimeNow());
    std::this_thread::sleep_for(kWarmUp);
    const double before = processorSeconds();
    const auto begin = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const double taken = processorSeconds() - before;
    const double passed = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    recorder.stopAndSave();
    return 1000 * taken / passed;
}

}  // namespace

/// bench_telemetry SECONDS FILE: records the telemetry of the display of $DISPLAY, and nothing else, while
/// the pointer moves. Prints the milliseconds of processor time that this takes a second.
int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "bench_telemetry SECONDS FILE\n";
        return 2;
    }
    const pid_t mover = fork();
    if (mover == 0) movePointer();
    int status = 0;
    try {
        std::cout << record(std::atof(argv[1]), URL(argv[2])) << std::endl;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        status = 1;
    }
    kill(mover, SIGKILL);
    waitpid(mover, nullptr, 0);
    return status;
}
