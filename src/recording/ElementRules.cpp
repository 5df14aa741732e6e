#include "recording/ElementRules.h"

#include <algorithm>
#include <array>
#include <utility>

namespace varnelle {
namespace {

constexpr std::array<std::string_view, 14> interactiveRoles{
    "AXTextField", "AXTextArea",    "AXLink",         "AXButton",   "AXPopUpButton",
    "AXComboBox",  "AXSearchField", "AXSlider",       "AXCheckBox", "AXRadioButton",
    "AXToggle",    "AXSplitter",    "AXEditableText", "AXWebArea"};
/// Elements that hold a whole window's content or much of it.
constexpr std::array<std::string_view, 4> kGrowthStopRoles{"AXWindow", "AXApplication", "AXWebArea",
                                                           "AXScrollArea"};

constexpr int kClimbSteps = 4;
constexpr int kGrowthSteps = 3;
constexpr double kGrowthLimitFraction = 0.6;
constexpr CGSize kLeastGrowthLimit{900, 700};

template <std::size_t count>
bool isAmong(const std::array<std::string_view, count>& roles, std::string_view role) {
    return std::find(roles.begin(), roles.end(), role) != roles.end();
}

CGSize growthLimit(const CGRect& region) {
    return {std::max(kGrowthLimitFraction * region.width(), kLeastGrowthLimit.width),
            std::max(kGrowthLimitFraction * region.height(), kLeastGrowthLimit.height)};
}

}  // namespace

CGPoint normalizedPoint(CGPoint location, const CGRect& region, bool isInside) {
    if (region.isEmpty()) return {0.5, 0.5};
    const double x = (location.x - region.minX()) / region.width();
    const double y = 1 - (location.y - region.minY()) / region.height();
    if (!isInside) return {x, y};
    return {std::clamp(x, 0.0, 1.0), std::clamp(y, 0.0, 1.0)};
}

std::optional<CGRect> normalizedRect(const CGRect& rect, const CGRect& region) {
    if (region.isEmpty()) return std::nullopt;
    const double height = rect.height() / region.height();
    return CGRect{{(rect.minX() - region.minX()) / region.width(),
                   1 - ((rect.minY() - region.minY()) / region.height() + height)},
                  {rect.width() / region.width(), height}};
}

CursorKeyboardActivityKind keyboardActivityKind(const KeyDownEvent& key) {
    if (key.hasControl || key.hasAlternate || key.hasCommand) return CursorKeyboardActivityKind::shortcut;
    if (key.isNavigationKey) return CursorKeyboardActivityKind::navigation;
    return CursorKeyboardActivityKind::typing;
}

bool isInteractiveRole(std::string_view role) {
    return isAmong(interactiveRoles, role);
}

std::unique_ptr<AccessibilityElement> interactiveElement(std::unique_ptr<AccessibilityElement> element) {
    for (int step = 0; element != nullptr && step < kClimbSteps; ++step) {
        if (isInteractiveRole(element->role().value_or(""))) break;
        auto parent = element->parent();
        if (parent == nullptr) break;
        element = std::move(parent);
    }
    return element;
}

std::optional<CGRect> grownFrame(AccessibilityElement& element, const CGRect& region) {
    std::optional<CGRect> frame = element.frame();
    if (!frame) return std::nullopt;
    const CGSize limit = growthLimit(region);
    std::unique_ptr<AccessibilityElement> group;
    for (int step = 0; step < kGrowthSteps; ++step) {
        group = group != nullptr ? group->parent() : element.parent();
        if (group == nullptr || isAmong(kGrowthStopRoles, group->role().value_or(""))) break;
        const auto groupFrame = group->frame();
        if (!groupFrame || groupFrame->width() > limit.width || groupFrame->height() > limit.height) break;
        frame = frame->unionWith(*groupFrame);
    }
    const auto selection = element.selectedTextBounds();
    return selection && !selection->isEmpty() ? frame->unionWith(*selection) : frame;
}

std::optional<WindowContext> readWindowContext(FocusInput& focus, const CGRect& region) {
    focus.beginSample();
    const auto process = focus.frontmostProcess();
    if (!process) return std::nullopt;
    WindowContext context;
    context.windowFrame = focus.windowFrame(*process);
    const auto describe = [&region](AccessibilityElement& element, std::optional<CGRect>& frame,
                                    std::optional<std::string>& role) {
        role = element.role();
        if (const auto grown = grownFrame(element, region)) frame = normalizedRect(*grown, region);
    };
    if (const auto element = interactiveElement(focus.elementUnderPointer())) {
        describe(*element, context.focusedElementFrame, context.focusedElementRole);
    }
    if (const auto element = focus.focusedElement(*process)) {
        describe(*element, context.keyboardFocusedElementFrame, context.keyboardFocusedElementRole);
    }
    return context;
}

}  // namespace varnelle
