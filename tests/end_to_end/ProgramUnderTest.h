#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/URL.h"
#include "support/AccessibilitySession.h"
#include "support/AccessibleTree.h"
#include "support/KeyRobot.h"
#include "support/PatternWindow.h"
#include "support/PipeWireServer.h"
#include "support/TemporaryDirectory.h"
#include "support/Waiting.h"
#include "support/XServer.h"

namespace varnelle::test {

/// A desktop with everything that a user's has: a display with a window manager, a session bus with the
/// accessibility service, sound. One for all tests of a process.
class Desktop {
public:
    static constexpr int kWidth = 1280;
    static constexpr int kHeight = 800;

    /// Why there can't be one here; absent if there can.
    static std::optional<std::string> obstacle();
    explicit Desktop(XServer displayServer = XServer(kWidth, kHeight));

    XServer server;
    AccessibilitySession session{server};
    PipeWireServer sound;
    PointerRobot pointer{server.displayName()};
    KeyRobot keys{server.displayName()};

    void click(int x, int y);
    void drag(int fromX, int fromY, int toX, int toY);
};

#ifdef __SANITIZE_ADDRESS__
inline constexpr bool kIsAsFastAsForUsers = false;
#else
inline constexpr bool kIsAsFastAsForUsers = true;
#endif
/// What a test waits for comes by then, or fails it.
inline constexpr std::chrono::seconds kProgramDeadline{kIsAsFastAsForUsers ? 40 : 120};

/// Looks until `condition` holds or `kProgramDeadline` has passed; tells which. Each look takes the program
/// time, which it needs to get there.
template <typename Condition>
bool until(Condition condition) {
    return waitUntil(condition, kProgramDeadline, std::chrono::milliseconds(30));
}

/// The program itself, started as a user starts it, with a home of its own. What waits, waits as `until`.
class ProgramUnderTest {
public:
    explicit ProgramUnderTest(Desktop& desktop);
    ~ProgramUnderTest();

    /// Starts the program; `environment` is added to what the desktop gives it.
    void start(const std::vector<std::string>& arguments = {},
               const std::vector<std::string>& environment = {});
    /// Starts it and gets it to its dock bar, by way of the permissions where they are missing.
    [[nodiscard]] bool startsAtTheDockBar(const std::vector<std::string>& environment = {});
    /// Starts a second one beside it and returns its exit status, or -1 if it goes on.
    int startSecond(const std::vector<std::string>& arguments);
    void sendSignal(int signal) const { program_->sendSignal(signal); }
    /// Waits for its end; false if it goes on.
    [[nodiscard]] bool hasEnded();
    [[nodiscard]] pid_t processID() const { return program_->processID(); }

    [[nodiscard]] bool isShown(const std::string& name) const;
    /// Waits until something of the name is shown, and until nothing of the name is.
    [[nodiscard]] bool shows(const std::string& name) const;
    [[nodiscard]] bool showsNoMore(const std::string& name) const;
    /// Waits until the window, or the one with the element, is the active one, and so really on the screen.
    [[nodiscard]] bool hasKeyboard(const std::string& name) const;
    [[nodiscard]] AccessibleElement element(const std::string& name) const;
    /// What has just come is still on its way to its place: waits until it is there.
    [[nodiscard]] AccessibleElement restingElement(const std::string& name) const;
    /// Clicks on the middle of what has the name.
    void click(const std::string& name);
    /// Controls without a name, by their roles; a finished interface has none.
    [[nodiscard]] std::vector<std::string> namelessControls() const;

    [[nodiscard]] URL home() const { return directory_.file("home"); }
    [[nodiscard]] URL configuration() const { return directory_.file("config"); }
    [[nodiscard]] URL projects() const { return home().appending("Varnelle Projects"); }
    /// The session directories, oldest first.
    [[nodiscard]] std::vector<URL> sessions() const;
    [[nodiscard]] std::vector<URL> packages() const;
    /// What held up the program's main thread for long: milliseconds that it waited and worked.
    struct Stall {
        double waited;
        double worked;
        std::string what;  ///< the receiver's class and the event's number
    };
    /// Since the start of the program, in order.
    [[nodiscard]] std::vector<Stall> stalls() const;
    /// Nothing but the first `known` of them was one that a user would feel. The times of sanitized programs
    /// say nothing of that; those are only gone through.
    void expectNoStall(std::size_t known) const;
    /// What it has printed.
    [[nodiscard]] std::string output() const;

private:
    [[nodiscard]] std::vector<std::string> environment() const;

    Desktop& desktop_;
    TemporaryDirectory directory_;
    std::unique_ptr<ChildProcess> program_;
};

}  // namespace varnelle::test
