#include <algorithm>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "Measure.h"
#include "Program.h"
#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/LinuxPermissions.h"
#include "support/AccessibilitySession.h"
#include "support/TemporaryDirectory.h"
#include "support/Waiting.h"
#include "support/XServer.h"

namespace varnelle::bench {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int kRounds = 5;
/// What a start may take before it feels slow.
constexpr double kMeantMilliseconds = 700;

/// Milliseconds from the start of the program until its dock bar is on the screen.
double startOnce(LinuxDesktop& desktop, const std::vector<std::string>& environment) {
    const auto start = Clock::now();
    const Program program({VARNELLE_PROGRAM}, environment);
    const auto isThere = [&desktop] {
        const std::vector<ShareableWindow> windows = desktop.shareableContent({}).windows;
        return std::any_of(windows.begin(), windows.end(), [](const ShareableWindow& window) {
            return window.title == "Varnelle Dock" && window.isOnScreen;
        });
    };
    if (!test::waitUntil(isThere, 20s)) throw std::runtime_error("The dock bar didn't come up.");
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

Row measureStart(const std::string& name) {
    test::XServer server(1920, 1080);
    server.startWindowManager();
    const test::AccessibilitySession session(server);
    LinuxPermissions permissions(server.displayName());
    permissions.requestAccessibilityTrust();
    if (!test::waitUntil([&] { return permissions.isAccessibilityTrusted(); }, 20s)) {
        throw std::runtime_error("Accessibility can't be turned on.");
    }
    const test::TemporaryDirectory home;
    LinuxDesktop desktop(server.displayName());
    const std::vector<std::string> environment{"DISPLAY=" + server.displayName(),
                                               "HOME=" + home.url().string(),
                                               "XDG_CONFIG_HOME=" + home.url().string(),
                                               "TMPDIR=" + home.url().string(),
                                               "XDG_SESSION_TYPE=x11",
                                               "WAYLAND_DISPLAY="};
    std::vector<double> times;
    for (int round = 0; round < kRounds; ++round) times.push_back(startOnce(desktop, environment));
    return {name, median(times), kMeantMilliseconds, "ms", 1.0, "against the time that is meant"};
}

}  // namespace

std::vector<NamedRow> startRows() {
    const std::string name = "start to the dock bar";
    return {{name, [name] { return measureStart(name); }}};
}

}  // namespace varnelle::bench
