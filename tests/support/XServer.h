#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "foundation/Descriptor.h"

namespace varnelle::test {

/// A program that the test started; ended, by its process id, and waited for at the latest on destruction.
class ChildProcess {
public:
    /// `environment` holds "NAME=value" entries that are added to the test's own. `inheritedDescriptor` stays
    /// open in the program under the same number, and what it prints goes to `output`; -1 for neither. Throws
    /// `std::runtime_error` if the program can't be started.
    explicit ChildProcess(const std::vector<std::string>& arguments,
                          const std::vector<std::string>& environment = {}, int inheritedDescriptor = -1,
                          int output = -1);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    [[nodiscard]] pid_t processID() const { return processID_; }
    void sendSignal(int signal) const;
    /// Waits for the end and returns the wait status.
    int waitForEnd();

private:
    pid_t processID_ = -1;
};

/// A private X server without hardware, on a display number of its own, for as long as the object lives.
class XServer {
public:
    /// Whether the programs are there; a test without them skips with this reason.
    static bool isAvailable();
    static constexpr const char* kMissing = "Xvfb is not installed";

    /// Starts the server and waits until it takes connections. Throws `std::runtime_error`.
    /// `furtherArguments` go to the server's command line.
    explicit XServer(int widthPixels = 640, int heightPixels = 480,
                     const std::vector<std::string>& furtherArguments = {});
    /// A server with outputs that `xrandr` turns on and off, as if screens were plugged in and out: "DUMMY0"
    /// with 1024 by 768 pixels from the start, "DUMMY1" and further ones. Throws `std::runtime_error`.
    static XServer withScreens();
    /// Why there can't be one; null if there can.
    static const char* obstacleToScreens();

    [[nodiscard]] const std::string& displayName() const { return displayName_; }
    [[nodiscard]] pid_t processID() const { return server_->processID(); }
    /// Starts a window manager and waits until it manages the screen.
    void startWindowManager();
    /// Ends the server at once, as a crash would.
    void kill();
    /// Stops the server's process, so that it keeps its connections and answers nothing, or lets it go on.
    void freeze();
    void thaw();

private:
    explicit XServer(std::vector<std::string> command);

    std::unique_ptr<ChildProcess> server_;
    std::unique_ptr<ChildProcess> windowManager_;
    /// Kept open, as its windows' numbers would be given to the next program's windows, which confuses the
    /// manager.
    std::shared_ptr<void> managerProbe_;
    std::string displayName_;
    Descriptor numberHolder_;  ///< open once the server was killed
};

}  // namespace varnelle::test
