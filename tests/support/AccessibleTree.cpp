#include "support/AccessibleTree.h"

#include <atspi/atspi.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace varnelle::test {
namespace {

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
template <typename Type>
using Ref = std::unique_ptr<Type, Unref>;

struct Free {
    void operator()(void* memory) const { g_free(memory); }
};

std::string take(char* text) {
    const std::unique_ptr<char, Free> owned(text);
    return owned ? owned.get() : "";
}

using Object = Ref<AtspiAccessible>;
using States = Ref<AtspiStateSet>;

bool has(const States& states, AtspiStateType state) {
    return states && atspi_state_set_contains(states.get(), state) != FALSE;
}

std::vector<Object> childrenOf(AtspiAccessible* object) {
    std::vector<Object> children;
    const int count = atspi_accessible_get_child_count(object, nullptr);
    for (int index = 0; index < count; ++index) {
        if (Object child{atspi_accessible_get_child_at_index(object, index, nullptr)})
            children.push_back(std::move(child));
    }
    return children;
}

std::string nameOf(AtspiAccessible* object) {
    return take(atspi_accessible_get_name(object, nullptr));
}

/// Elements come and go while they are read: a call that fails gives nothing.
AccessibleElement elementOf(AtspiAccessible* object, const States& states) {
    AccessibleElement element;
    element.role = take(atspi_accessible_get_role_name(object, nullptr));
    element.name = nameOf(object);
    element.description = take(atspi_accessible_get_description(object, nullptr));
    element.isFocusable = has(states, ATSPI_STATE_FOCUSABLE);
    element.isFocused = has(states, ATSPI_STATE_FOCUSED);
    element.isEnabled = has(states, ATSPI_STATE_ENABLED);
    element.isChecked = has(states, ATSPI_STATE_CHECKED);
    const std::unique_ptr<AtspiRect, Free> place(
        atspi_component_get_extents(ATSPI_COMPONENT(object), ATSPI_COORD_TYPE_SCREEN, nullptr));
    if (place) {
        element.x = place->x;
        element.y = place->y;
        element.width = place->width;
        element.height = place->height;
    }
    return element;
}

/// Calls `visit` with an object and its states and with all below it, in the order of the tree, as far as
/// they show; until `visit` returns true, which it tells. Each question about an object takes the program
/// time, so none is asked that isn't needed.
template <typename Visit>
bool visitShowing(const Object& object, const Visit& visit) {
    const States states{atspi_accessible_get_state_set(object.get())};
    if (!has(states, ATSPI_STATE_SHOWING) || !has(states, ATSPI_STATE_VISIBLE)) return false;
    if (visit(object.get(), states)) return true;
    for (const Object& child : childrenOf(object.get())) {
        if (visitShowing(child, visit)) return true;
    }
    return false;
}

/// The windows of a program.
std::vector<Object> windowsOf(pid_t program) {
    atspi_init();
    const Object desktop{atspi_get_desktop(0)};
    if (!desktop) return {};
    atspi_accessible_set_cache_mask(desktop.get(), ATSPI_CACHE_NONE);
    for (const Object& application : childrenOf(desktop.get())) {
        if (static_cast<pid_t>(atspi_accessible_get_process_id(application.get(), nullptr)) == program)
            return childrenOf(application.get());
    }
    return {};
}

bool isActive(const Object& window) {
    return has(States{atspi_accessible_get_state_set(window.get())}, ATSPI_STATE_ACTIVE);
}

/// Goes through all windows until `visit` returns true.
template <typename Visit>
void visitShowing(const std::vector<Object>& windows, const Visit& visit) {
    for (const Object& window : windows) {
        if (visitShowing(window, visit)) return;
    }
}

}  // namespace

std::vector<AccessibleElement> accessibleElements(pid_t program) {
    std::vector<AccessibleElement> elements;
    visitShowing(windowsOf(program), [&](AtspiAccessible* object, const States& states) {
        elements.push_back(elementOf(object, states));
        return false;
    });
    return elements;
}

std::optional<AccessibleElement> shownElement(pid_t program, const std::string& name) {
    std::vector<Object> windows = windowsOf(program);
    const auto inactive = std::stable_partition(windows.begin(), windows.end(), isActive);
    std::optional<AccessibleElement> found;
    for (auto window = windows.begin(); window != windows.end() && !found; ++window) {
        visitShowing(*window, [&](AtspiAccessible* object, const States& states) {
            if (nameOf(object) != name) return false;
            found = elementOf(object, states);
            found->isInActiveWindow = window < inactive;
            return true;
        });
    }
    return found;
}

AccessibleLabel::AccessibleLabel(pid_t program, const std::string& beginning) {
    visitShowing(windowsOf(program), [&](AtspiAccessible* object, const States&) {
        if (!nameOf(object).starts_with(beginning)) return false;
        object_.reset(g_object_ref(object), Unref{});
        return true;
    });
}

std::string AccessibleLabel::text() const {
    return object_ ? nameOf(static_cast<AtspiAccessible*>(object_.get())) : "";
}

}  // namespace varnelle::test
