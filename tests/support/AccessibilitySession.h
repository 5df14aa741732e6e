#pragma once

#include <signal.h>

#include <memory>
#include <string>
#include <vector>

#include "support/TemporaryDirectory.h"
#include "support/XServer.h"

namespace varnelle::test {

/// A private session bus with the accessibility service on it, for as long as the object lives. The test's
/// own process is on that session meanwhile, so there can be one at a time, made before any thread asks for
/// the environment.
class AccessibilitySession {
public:
    /// Whether the programs are there; a test without them skips with this reason.
    static bool isAvailable();
    static constexpr const char* kMissing = "dbus-daemon or at-spi2-core is not installed";

    /// Starts the bus, and the service on it. Throws `std::runtime_error`.
    explicit AccessibilitySession(const XServer& server);
    ~AccessibilitySession();
    AccessibilitySession(const AccessibilitySession&) = delete;
    AccessibilitySession& operator=(const AccessibilitySession&) = delete;

    /// Ends the accessibility service with its bus, as a crash would; the session bus stays.
    void endService();
    /// Starts the service anew, after `endService`.
    void startService();
    /// Stops the session bus's process, so that it keeps its connections and answers nothing, or lets it go
    /// on.
    void freezeSessionBus();
    void thawSessionBus();

private:
    TemporaryDirectory directory_;
    std::vector<std::string> environment_;
    std::unique_ptr<ChildProcess> sessionBus_;
    std::unique_ptr<ChildProcess> service_;
};

/// A program with a window of known content, on a display and a session. Places are relative to the window's
/// own area.
class AccessibleWindow {
public:
    /// Starts the program and waits until its window is shown and active. Throws `std::runtime_error`.
    explicit AccessibleWindow(const XServer& server);

    [[nodiscard]] pid_t processID() const { return program_->processID(); }
    void freeze() { program_->sendSignal(SIGSTOP); }
    void thaw() { program_->sendSignal(SIGCONT); }

private:
    std::unique_ptr<ChildProcess> program_;
};

}  // namespace varnelle::test
