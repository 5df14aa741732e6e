#include "app/ProjectTransition.h"

namespace varnelle {

ProjectAlert projectAlert(const ProjectTransitionAction& action) {
    const bool isQuitting = std::holds_alternative<QuitApplication>(action);
    return {isQuitting ? "Do you want to save this Varnelle project before quitting?"
                       : "Do you want to save this Varnelle project before closing?",
            "Your edits, settings, and timeline history will be lost if you delete this unsaved project.",
            "Save", "Delete", "Cancel"};
}

}  // namespace varnelle
