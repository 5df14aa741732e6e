#pragma once

#include <string>
#include <variant>

#include "foundation/URL.h"

namespace varnelle {

struct OpenProject {
    URL url;
    bool operator==(const OpenProject&) const = default;
};
struct CloseWindow {
    bool operator==(const CloseWindow&) const = default;
};
struct NewRecording {
    bool operator==(const NewRecording&) const = default;
};
struct QuitApplication {
    bool operator==(const QuitApplication&) const = default;
};

/// What makes the open project go away.
using ProjectTransitionAction = std::variant<OpenProject, CloseWindow, NewRecording, QuitApplication>;

/// A question about unsaved work, with its buttons from first to last.
struct ProjectAlert {
    std::string message;
    std::string informativeText;
    std::string saveButton;
    std::string deleteButton;
    std::string cancelButton;
};
enum class ProjectAlertAnswer { save, deleteProject, cancel };

ProjectAlert projectAlert(const ProjectTransitionAction& action);

}  // namespace varnelle
