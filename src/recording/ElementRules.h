#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "camera/CursorRecording.h"
#include "foundation/Geometry.h"
#include "platform/FocusInput.h"
#include "platform/InputMonitors.h"

namespace varnelle {

/// A place in the region as fractions of its size, origin bottom left. Clamped to 0 through 1 if `isInside`;
/// the middle for a region without area.
CGPoint normalizedPoint(CGPoint location, const CGRect& region, bool isInside);
/// A rectangle in the same space; absent for a region without area.
std::optional<CGRect> normalizedRect(const CGRect& rect, const CGRect& region);

/// What kind of activity a key is.
CursorKeyboardActivityKind keyboardActivityKind(const KeyDownEvent& key);

/// Whether an element of this role is something a user works with, rather than a part or a container of it.
bool isInteractiveRole(std::string_view role);

/// The element itself, or the nearest interactive one around it within four steps; otherwise the last one
/// that was reached.
std::unique_ptr<AccessibilityElement> interactiveElement(std::unique_ptr<AccessibilityElement> element);

/// The frame of an element, grown to the small group that it is part of, and to the text selected in it;
/// never to the whole window. Global points. Absent if the element has no frame.
std::optional<CGRect> grownFrame(AccessibilityElement& element, const CGRect& region);

/// What one window sample holds.
struct WindowContext {
    std::optional<CGRect> windowFrame;          ///< global points
    std::optional<CGRect> focusedElementFrame;  ///< this and the rest as they are stored
    std::optional<std::string> focusedElementRole;
    std::optional<CGRect> keyboardFocusedElementFrame;
    std::optional<std::string> keyboardFocusedElementRole;

    bool operator==(const WindowContext&) const = default;
};

/// Reads a window sample; absent without a front application.
std::optional<WindowContext> readWindowContext(FocusInput& focus, const CGRect& region);

}  // namespace varnelle
