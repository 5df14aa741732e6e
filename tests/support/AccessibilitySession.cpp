#include "support/AccessibilitySession.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "support/Waiting.h"

namespace varnelle::test {
namespace {

using namespace std::chrono_literals;

constexpr auto kDeadline = 30s;
constexpr const char* kLauncher = "/usr/libexec/at-spi-bus-launcher";
constexpr const char* kDaemon = "/usr/bin/dbus-daemon";

/// A bus for this user alone that starts no services: what runs on it, the test starts, and can end.
constexpr const char* kBusConfiguration = R"(<busconfig>
  <type>session</type>
  <listen>unix:path=%s</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

/// A pipe of which a program gets the writing end.
class Pipe {
public:
    Pipe() {
        if (pipe2(ends_.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    }
    ~Pipe() {
        close(ends_[0]);
        closeWritingEnd();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    [[nodiscard]] int writingEnd() const { return ends_[1]; }
    void closeWritingEnd() {
        if (ends_[1] >= 0) close(ends_[1]);
        ends_[1] = -1;
    }
    /// Waits for the first line.
    void awaitLine(const std::string& program) {
        closeWritingEnd();
        char character = 0;
        do {
            pollfd readable{ends_[0], POLLIN, 0};
            if (poll(&readable, 1, static_cast<int>(std::chrono::milliseconds(kDeadline).count())) <= 0 ||
                read(ends_[0], &character, 1) != 1) {
                throw std::runtime_error(program + " didn't start");
            }
        } while (character != '\n');
    }

private:
    std::array<int, 2> ends_{-1, -1};
};

std::vector<pid_t> childrenOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/task/" + std::to_string(process) + "/children");
    std::vector<pid_t> children;
    for (pid_t child = 0; file >> child;) children.push_back(child);
    return children;
}

/// A process that nobody waits for stays in the table after its end.
bool isRunning(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string content;
    std::getline(file, content);
    const std::size_t state = content.rfind(')') + 2;
    return content.size() > state && content[state] != 'Z';
}

}  // namespace

bool AccessibilitySession::isAvailable() {
    return access(kLauncher, X_OK) == 0 && access(kDaemon, X_OK) == 0;
}

AccessibilitySession::AccessibilitySession(const XServer& server) {
    const std::string root = directory_.url().string();
    const std::string socket = root + "/session";
    const std::string address = "unix:path=" + socket;
    std::string configuration = kBusConfiguration;
    configuration.replace(configuration.find("%s"), 2, socket);
    std::ofstream(root + "/session.conf") << configuration;
    environment_ = {"DISPLAY=" + server.displayName(), "DBUS_SESSION_BUS_ADDRESS=" + address,
                    "XDG_RUNTIME_DIR=" + root, "GSETTINGS_BACKEND=memory"};
    setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    unsetenv("AT_SPI_BUS_ADDRESS");

    Pipe output;
    sessionBus_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{kDaemon, "--nofork", "--nopidfile", "--nosyslog", "--print-address=1",
                                 "--config-file=" + root + "/session.conf"},
        environment_, -1, output.writingEnd());
    output.awaitLine("dbus-daemon");
    startService();
}

AccessibilitySession::~AccessibilitySession() {
    endService();
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

void AccessibilitySession::startService() {
    service_ = std::make_unique<ChildProcess>(std::vector<std::string>{kLauncher, "--launch-immediately"},
                                              environment_);
    // It starts a bus of its own; that has a socket from its first moment on.
    const auto hasBus = [this] {
        for (const auto& entry : std::filesystem::directory_iterator(directory_.url().string())) {
            std::error_code error;
            if (entry.path().filename() == "at-spi" && !std::filesystem::is_empty(entry.path(), error))
                return true;
        }
        return false;
    };
    if (!waitUntil(hasBus, kDeadline)) throw std::runtime_error("the accessibility bus didn't start");
}

void AccessibilitySession::endService() {
    if (service_ == nullptr) return;
    // Its bus, and what that has started in turn.
    std::vector<pid_t> descendants = childrenOf(service_->processID());
    for (std::size_t i = 0; i < descendants.size(); ++i) {
        const auto further = childrenOf(descendants[i]);
        descendants.insert(descendants.end(), further.begin(), further.end());
    }
    service_ = nullptr;
    for (const pid_t process : descendants) kill(process, SIGKILL);
    waitUntil(
        [&descendants] {
            for (const pid_t process : descendants) {
                if (isRunning(process)) return false;
            }
            return true;
        },
        kDeadline);
    std::filesystem::remove_all(directory_.url().string() + "/at-spi");
}

void AccessibilitySession::freezeSessionBus() {
    sessionBus_->sendSignal(SIGSTOP);
}

void AccessibilitySession::thawSessionBus() {
    sessionBus_->sendSignal(SIGCONT);
}

AccessibleWindow::AccessibleWindow(const XServer& server) {
    Pipe output;
    program_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{ACCESSIBLE_WINDOW_PROGRAM},
        std::vector<std::string>{"DISPLAY=" + server.displayName(), "QT_QPA_PLATFORM=xcb",
                                 "QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1", "QT_ENABLE_HIGHDPI_SCALING=0"},
        -1, output.writingEnd());
    output.awaitLine("the accessible window");
}

}  // namespace varnelle::test
