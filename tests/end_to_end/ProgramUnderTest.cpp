#include "end_to_end/ProgramUnderTest.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace varnelle::test {
namespace {

using namespace std::chrono_literals;

/// How long the main thread may wait for anything, and work at anything, in answer to one event. It works for
/// less than 8 ms everywhere, also while others have the processors, and the rest is for slower machines. It
/// waits longer only for a window's drawing thread: without a graphics card, as long as the window takes to
/// draw. Time in which a host runs other machines counts as waiting, too.
constexpr double kLongestWaitMilliseconds = 50;
constexpr double kLongestWorkMilliseconds = 16;

std::vector<URL> entriesOf(const URL& directory) {
    std::vector<URL> entries;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(directory.path(), error)) {
        entries.emplace_back(entry.path());
    }
    std::sort(entries.begin(), entries.end(),
              [](const URL& left, const URL& right) { return left.string() < right.string(); });
    return entries;
}

/// A file to print to, open in this process until the end of the object.
class OutputFile {
public:
    explicit OutputFile(const URL& url)
        : descriptor_(open(url.path().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)) {}
    ~OutputFile() { close(descriptor_); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    [[nodiscard]] int get() const { return descriptor_; }

private:
    int descriptor_;
};

}  // namespace

std::optional<std::string> Desktop::obstacle() {
    if (!XServer::isAvailable()) return XServer::kMissing;
    if (!AccessibilitySession::isAvailable()) return AccessibilitySession::kMissing;
    if (!PipeWireServer::isAvailable()) return PipeWireServer::kMissing;
    return std::nullopt;
}

Desktop::Desktop(XServer displayServer) : server(std::move(displayServer)) {
    server.startWindowManager();
}

void Desktop::click(int x, int y) {
    // As a hand does it: what moves, presses and lets go at one moment isn't always told apart on the way.
    pointer.moveTo(x, y);
    std::this_thread::sleep_for(30ms);
    pointer.setButton(1, true);
    std::this_thread::sleep_for(30ms);
    pointer.setButton(1, false);
}

void Desktop::drag(int fromX, int fromY, int toX, int toY) {
    pointer.moveTo(fromX, fromY);
    std::this_thread::sleep_for(30ms);
    pointer.setButton(1, true);
    // As a hand moves: window managers that are asked to move a window take the pointer over on the way.
    for (int step = 1; step <= 10; ++step) {
        pointer.moveTo(fromX + (toX - fromX) * step / 10, fromY + (toY - fromY) * step / 10);
        std::this_thread::sleep_for(20ms);
    }
    pointer.setButton(1, false);
}

ProgramUnderTest::ProgramUnderTest(Desktop& desktop) : desktop_(desktop) {
    for (const char* name : {"home", "config", "tmp"}) {
        std::filesystem::create_directories(directory_.file(name).path());
    }
}

ProgramUnderTest::~ProgramUnderTest() {
    if (!testing::Test::HasFailure() || !program_) return;
    std::fprintf(stderr, "The program printed:\n%s", output().c_str());
    siginfo_t end{};
    const auto id = static_cast<id_t>(processID());
    if (waitid(P_PID, id, &end, WEXITED | WNOHANG | WNOWAIT) == 0 && end.si_pid != 0) {
        std::fprintf(stderr, "and ended with %s %d.\n", end.si_code == CLD_EXITED ? "status" : "signal",
                     end.si_status);
        return;
    }
    std::fprintf(stderr, "and showed:\n");
    for (const AccessibleElement& shown : accessibleElements(processID())) {
        std::fprintf(stderr, "%s “%s” at %d, %d, %d by %d\n", shown.role.c_str(), shown.name.c_str(), shown.x,
                     shown.y, shown.width, shown.height);
    }
}

std::vector<std::string> ProgramUnderTest::environment() const {
    return {"DISPLAY=" + desktop_.server.displayName(),
            "HOME=" + home().string(),
            "XDG_CONFIG_HOME=" + directory_.file("config").string(),
            "TMPDIR=" + directory_.file("tmp").string(),
            "PIPEWIRE_REMOTE=" + desktop_.sound.remoteName(),
            "VARNELLE_STALL_LOG=" + directory_.file("stalls").string(),
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1",
            "QT_QPA_PLATFORMTHEME=",
            "XDG_SESSION_TYPE=x11",
            "WAYLAND_DISPLAY=",
            "XDG_CURRENT_DESKTOP="};
}

void ProgramUnderTest::start(const std::vector<std::string>& arguments,
                             const std::vector<std::string>& further) {
    std::vector<std::string> command{"/bin/sh", "-c", "exec \"$@\" 2>&1", "sh", VARNELLE_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::vector<std::string> all = environment();
    all.insert(all.end(), further.begin(), further.end());
    const OutputFile file(directory_.file("output"));
    program_ = std::make_unique<ChildProcess>(command, all, -1, file.get());
}

bool ProgramUnderTest::startsAtTheDockBar(const std::vector<std::string>& environment) {
    start({}, environment);
    const std::string afterPermissions = "Continue to Varnelle →";
    if (!until([&] { return isShown("Recording setup") || isShown(afterPermissions); })) return false;
    if (isShown(afterPermissions)) {
        click("Accessibility, REQUIRED");
        if (!shows("Accessibility, ENABLED")) return false;
        click(afterPermissions);
    }
    return hasKeyboard("Varnelle Dock");
}

int ProgramUnderTest::startSecond(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"/bin/sh", "-c", "exec \"$@\" 2>&1", "sh", VARNELLE_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const OutputFile file(directory_.file("output"));
    ChildProcess second(command, environment(), -1, file.get());
    int status = 0;
    const bool hasEnded = until([&] { return waitpid(second.processID(), &status, WNOHANG) != 0; });
    return hasEnded && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool ProgramUnderTest::hasEnded() {
    siginfo_t info{};
    return until([&] {
        info.si_pid = 0;
        return waitid(P_PID, static_cast<id_t>(processID()), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               info.si_pid != 0;
    });
}

bool ProgramUnderTest::isShown(const std::string& name) const {
    return shownElement(processID(), name).has_value();
}

bool ProgramUnderTest::shows(const std::string& name) const {
    return until([&] { return isShown(name); });
}

bool ProgramUnderTest::showsNoMore(const std::string& name) const {
    return until([&] { return !isShown(name); });
}

bool ProgramUnderTest::hasKeyboard(const std::string& name) const {
    return until([&] {
        const auto found = shownElement(processID(), name);
        return found && found->isInActiveWindow;
    });
}

AccessibleElement ProgramUnderTest::element(const std::string& name) const {
    std::optional<AccessibleElement> found;
    // Without a size it has just gone, or the program didn't get round to the answer.
    const auto isFound = [&] {
        found = shownElement(processID(), name);
        return found && found->width > 0;
    };
    EXPECT_TRUE(until(isFound)) << name;
    return found.value_or(AccessibleElement{});
}

AccessibleElement ProgramUnderTest::restingElement(const std::string& name) const {
    AccessibleElement last = element(name);
    const bool rests = until([&] {
        std::this_thread::sleep_for(50ms);
        const AccessibleElement now = element(name);
        const bool isSame = now.midX() == last.midX() && now.midY() == last.midY();
        last = now;
        return isSame;
    });
    EXPECT_TRUE(rests) << name;
    return last;
}

void ProgramUnderTest::click(const std::string& name) {
    const AccessibleElement resting = restingElement(name);
    desktop_.click(resting.midX(), resting.midY());
}

std::vector<std::string> ProgramUnderTest::namelessControls() const {
    std::vector<std::string> nameless;
    for (const AccessibleElement& element : accessibleElements(processID())) {
        if (element.isFocusable && element.name.empty()) nameless.push_back(element.role);
    }
    return nameless;
}

std::vector<URL> ProgramUnderTest::sessions() const {
    return entriesOf(directory_.file("tmp").appending("Varnelle").appending("Sessions"));
}

std::vector<URL> ProgramUnderTest::packages() const {
    return entriesOf(projects());
}

std::vector<ProgramUnderTest::Stall> ProgramUnderTest::stalls() const {
    std::ifstream file(directory_.file("stalls").path());
    std::vector<Stall> stalls;
    std::string line;
    std::getline(file, line);
    EXPECT_EQ(line, "waited worked receiver event");
    Stall stall;
    while (file >> stall.waited >> stall.worked && std::getline(file, stall.what)) stalls.push_back(stall);
    return stalls;
}

void ProgramUnderTest::expectNoStall(std::size_t known) const {
    if (!kIsAsFastAsForUsers) return;
    const std::vector<Stall> all = stalls();
    for (std::size_t i = known; i < all.size(); ++i) {
        const auto& [waited, worked, what] = all[i];
        EXPECT_LT(waited, kLongestWaitMilliseconds) << "worked " << worked << " ms:" << what;
        EXPECT_LT(worked, kLongestWorkMilliseconds) << what;
    }
}

std::string ProgramUnderTest::output() const {
    std::ifstream file(directory_.file("output").path());
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace varnelle::test
