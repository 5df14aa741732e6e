#include "support/XServer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>

#include "support/Waiting.h"

namespace varnelle::test {
namespace {

using namespace std::chrono_literals;

constexpr auto kStartDeadline = 20s;

std::string findProgram(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::istringstream directories(path != nullptr ? path : "/usr/bin:/bin");
    for (std::string directory; std::getline(directories, directory, ':');) {
        const std::string candidate = directory + "/" + name;
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return {};
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (std::string& string : strings) result.push_back(string.data());
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> environmentWith(const std::vector<std::string>& additions) {
    std::vector<std::string> result = additions;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string name = std::string(*entry).substr(0, std::strcspn(*entry, "=") + 1);
        bool isReplaced = false;
        for (const std::string& addition : additions) isReplaced = isReplaced || addition.rfind(name, 0) == 0;
        if (!isReplaced) result.emplace_back(*entry);
    }
    return result;
}

std::vector<std::string> commandOf(int widthPixels, int heightPixels,
                                   const std::vector<std::string>& furtherArguments) {
    const std::string screen = std::to_string(widthPixels) + "x" + std::to_string(heightPixels) + "x24";
    std::vector<std::string> command{"Xvfb", "-screen", "0", screen};
    command.insert(command.end(), furtherArguments.begin(), furtherArguments.end());
    return command;
}

/// The line that the server writes when it is ready: its display number.
std::string readDisplayNumber(int descriptor) {
    std::string line;
    while (line.empty() || line.back() != '\n') {
        pollfd readable{descriptor, POLLIN, 0};
        char character = 0;
        if (poll(&readable, 1, static_cast<int>(std::chrono::milliseconds(kStartDeadline).count())) <= 0 ||
            read(descriptor, &character, 1) != 1) {
            throw std::runtime_error("the X server didn't start");
        }
        line += character;
    }
    line.pop_back();
    return line;
}

/// Whether a window that asks to be shown is shown by the window manager, and so has its decoration's window
/// around it. A manager that is about to start has taken the screen before it listens, so nothing else tells
/// that it works.
bool isManaged(xcb_connection_t* connection) {
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const xcb_window_t probe = xcb_generate_id(connection);
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, probe, screen->root, 0, 0, 8, 8, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
    xcb_map_window(connection, probe);
    const bool result = waitUntil(
        [&] {
            const std::unique_ptr<xcb_query_tree_reply_t, decltype(&std::free)> tree(
                xcb_query_tree_reply(connection, xcb_query_tree(connection, probe), nullptr), &std::free);
            return tree != nullptr && tree->parent != screen->root;
        },
        std::chrono::milliseconds(200));
    xcb_destroy_window(connection, probe);
    xcb_flush(connection);
    return result;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments,
                           const std::vector<std::string>& environment, int inheritedDescriptor, int output) {
    // Everything that allocates happens before the fork: other threads may hold the allocator's lock.
    std::vector<std::string> argumentStrings = arguments;
    std::vector<std::string> environmentStrings = environmentWith(environment);
    const auto argv = pointers(argumentStrings);
    const auto envp = pointers(environmentStrings);
    processID_ = fork();
    if (processID_ < 0) throw std::runtime_error("no process could be started");
    if (processID_ > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (inheritedDescriptor >= 0) fcntl(inheritedDescriptor, F_SETFD, 0);
    if (output >= 0) dup2(output, STDOUT_FILENO);
    // A server that a test kills complains; set this variable to read what a program says.
    const int silence = open("/dev/null", O_RDWR);
    if (std::getenv("VARNELLE_TEST_OUTPUT") == nullptr) dup2(silence, STDERR_FILENO);
    execvpe(argv[0], argv.data(), envp.data());
    _exit(127);
}

ChildProcess::~ChildProcess() {
    if (processID_ < 0) return;
    sendSignal(SIGKILL);
    waitForEnd();
}

void ChildProcess::sendSignal(int signal) const {
    if (processID_ > 0) ::kill(processID_, signal);
}

int ChildProcess::waitForEnd() {
    int status = 0;
    if (processID_ > 0) waitpid(processID_, &status, 0);
    processID_ = -1;
    return status;
}

bool XServer::isAvailable() {
    return !findProgram("Xvfb").empty();
}

const char* XServer::obstacleToScreens() {
    if (findProgram("Xorg").empty() || access("/usr/lib/xorg/modules/drivers/dummy_drv.so", R_OK) != 0)
        return "Xorg and its driver without hardware aren't installed";
    return geteuid() == 0 ? nullptr : "Xorg takes a configuration from the superuser only";
}

XServer XServer::withScreens() {
    return XServer({"Xorg", "-config", VARNELLE_SCREENS_CONFIGURATION, "-logfile", "/dev/null", "-sharevts",
                    "-novtswitch"});
}

XServer::XServer(int widthPixels, int heightPixels, const std::vector<std::string>& furtherArguments)
    : XServer(commandOf(widthPixels, heightPixels, furtherArguments)) {}

XServer::XServer(std::vector<std::string> command) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    command.insert(command.end(), {"-displayfd", std::to_string(ends[1]), "-nolisten", "tcp", "-noreset"});
    server_ = std::make_unique<ChildProcess>(command, std::vector<std::string>{}, ends[1]);
    close(ends[1]);
    try {
        displayName_ = ":" + readDisplayNumber(ends[0]);
    } catch (...) {
        close(ends[0]);
        throw;
    }
    close(ends[0]);
}

void XServer::startWindowManager() {
    windowManager_ = std::make_unique<ChildProcess>(std::vector<std::string>{"openbox"},
                                                    std::vector<std::string>{"DISPLAY=" + displayName_});
    const std::shared_ptr<xcb_connection_t> connection(xcb_connect(displayName_.c_str(), nullptr),
                                                       &xcb_disconnect);
    managerProbe_ = connection;
    if (!waitUntil([&] { return isManaged(connection.get()); }, kStartDeadline)) {
        throw std::runtime_error("openbox didn't start");
    }
}

void XServer::kill() {
    server_->sendSignal(SIGKILL);
    server_->waitForEnd();
    // The next server, perhaps another test's, mustn't get the number: who looks for this one would find
    // that.
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string name = "/tmp/.X11-unix/X" + displayName_.substr(1);
    std::copy(name.begin(), name.end(), address.sun_path + 1);  // as an abstract name
    numberHolder_ = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    (void)bind(numberHolder_.get(), reinterpret_cast<const sockaddr*>(&address), length);
}

void XServer::freeze() {
    server_->sendSignal(SIGSTOP);
}

void XServer::thaw() {
    server_->sendSignal(SIGCONT);
}

}  // namespace varnelle::test
