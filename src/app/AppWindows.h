#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "app/ProjectTransition.h"
#include "foundation/URL.h"

namespace varnelle {

/// What the application's state asks of the windows. Implemented by the views; a test brings a double. Main
/// thread only. An alert is a sheet on the main window while that is visible, else it is modal; either way
/// the call returns at once, and the answer comes later by the callback, exactly once.
class AppWindows {
public:
    virtual ~AppWindows() = default;

    /// Shows the dock bar anew.
    virtual void showDockBar() = 0;
    virtual void hideDockBar() = 0;
    /// The name of the screen that the dock bar is on; absent while it isn't shown.
    [[nodiscard]] virtual std::optional<std::string> dockBarScreenName() const = 0;
    /// Takes away the panels in which a window or an area is chosen.
    virtual void closeSelectionPanels() = 0;
    /// The camera's picture floats beside a running recording.
    virtual void showRecordingPreview() = 0;
    virtual void hideRecordingPreview() = 0;
    /// Lets all that is shown of a recording fade away; `onEnd` is called once it has.
    virtual void fadeOutRecordingUI(std::chrono::milliseconds duration, std::function<void()> onEnd) = 0;
    /// While a recording runs, the program is in no list of running programs; afterwards it is an ordinary
    /// one again.
    virtual void becomeAccessory() = 0;
    virtual void becomeRegular() = 0;

    /// Shows the main window in front, made on first need. Its content follows the mode.
    virtual void showMainWindow() = 0;
    virtual void hideMainWindow() = 0;
    virtual void showPermissionsWindow() = 0;
    virtual void closePermissionsWindow() = 0;
    /// Brings the application to the front.
    virtual void activate() = 0;

    virtual void ask(const ProjectAlert& alert, std::function<void(ProjectAlertAnswer)> onAnswer) = 0;
    virtual void showError(const std::string& message) = 0;
    /// Lets the user choose a project, and opens it.
    virtual void chooseProject() = 0;
    /// Looks for a newer version of the program, as far as that can be done here.
    virtual void checkForUpdates() = 0;
    [[nodiscard]] virtual bool canCheckForUpdates() const = 0;
    /// Lets the user choose a folder for exports; `onChoice` gets it, or nothing if the question was
    /// cancelled.
    virtual void chooseExportDirectory(const URL& preferred,
                                       std::function<void(const std::optional<URL>&)> onChoice) = 0;

    /// Asks the application to quit, as the user does.
    virtual void requestQuit() = 0;
    /// The answer to a quit that `AppState` put off.
    virtual void replyToApplicationShouldTerminate(bool shouldTerminate) = 0;
};

}  // namespace varnelle
