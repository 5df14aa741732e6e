#include "support/AccessibleTree.h"

#include <atspi/atspi.h>

#include <memory>

namespace varnelle::test {
namespace {

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
template <typename Object>
using Ref = std::unique_ptr<Object, Unref>;

struct Free {
    void operator()(void* memory) const { g_free(memory); }
};

std::string take(char* text) {
    const std::unique_ptr<char, Free> owned(text);
    return owned ? owned.get() : "";
}

/// Elements come and go while they are read: a call that fails gives nothing.
void collect(AtspiAccessible* object, std::vector<AccessibleElement>& elements) {
    AccessibleElement element;
    element.role = take(atspi_accessible_get_role_name(object, nullptr));
    element.name = take(atspi_accessible_get_name(object, nullptr));
    element.description = take(atspi_accessible_get_description(object, nullptr));
    if (const Ref<AtspiStateSet> states{atspi_accessible_get_state_set(object)}) {
        const auto has = [&states](AtspiStateType state) {
            return atspi_state_set_contains(states.get(), state) != FALSE;
        };
        element.isShowing = has(ATSPI_STATE_SHOWING) && has(ATSPI_STATE_VISIBLE);
        element.isFocusable = has(ATSPI_STATE_FOCUSABLE);
        element.isFocused = has(ATSPI_STATE_FOCUSED);
        element.isEnabled = has(ATSPI_STATE_ENABLED);
        element.isChecked = has(ATSPI_STATE_CHECKED);
        element.isActive = has(ATSPI_STATE_ACTIVE);
    }
    if (const Ref<AtspiComponent> component{atspi_accessible_get_component_iface(object)}) {
        const std::unique_ptr<AtspiRect, Free> place(
            atspi_component_get_extents(component.get(), ATSPI_COORD_TYPE_SCREEN, nullptr));
        if (place) {
            element.x = place->x;
            element.y = place->y;
            element.width = place->width;
            element.height = place->height;
        }
    }
    elements.push_back(element);
    const int count = atspi_accessible_get_child_count(object, nullptr);
    for (int index = 0; index < count; ++index) {
        const Ref<AtspiAccessible> child{atspi_accessible_get_child_at_index(object, index, nullptr)};
        if (child) collect(child.get(), elements);
    }
}

}  // namespace

std::vector<AccessibleElement> accessibleElements(pid_t program) {
    atspi_init();
    std::vector<AccessibleElement> elements;
    const Ref<AtspiAccessible> desktop{atspi_get_desktop(0)};
    if (!desktop) return elements;
    atspi_accessible_set_cache_mask(desktop.get(), ATSPI_CACHE_NONE);
    const int count = atspi_accessible_get_child_count(desktop.get(), nullptr);
    for (int index = 0; index < count; ++index) {
        const Ref<AtspiAccessible> application{
            atspi_accessible_get_child_at_index(desktop.get(), index, nullptr)};
        if (!application) continue;
        if (static_cast<pid_t>(atspi_accessible_get_process_id(application.get(), nullptr)) != program)
            continue;
        collect(application.get(), elements);
    }
    return elements;
}

std::optional<AccessibleElement> shownElement(pid_t program, const std::string& name) {
    std::optional<AccessibleElement> found;
    bool isInActiveWindow = false;
    for (const AccessibleElement& element : accessibleElements(program)) {
        if (element.role == "frame" || element.role == "dialog") isInActiveWindow = element.isActive;
        if (!element.isShowing || element.name != name) continue;
        if (isInActiveWindow) return element;
        if (!found) found = element;
    }
    return found;
}

}  // namespace varnelle::test
