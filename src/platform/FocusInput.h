#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "foundation/Geometry.h"

namespace varnelle {

/// A node of another program's accessibility tree. Every question may fail, since that program may refuse, be
/// gone or not answer in time; then the value is absent. For the thread of the `FocusInput` it comes from,
/// and not beyond its next `beginSample`.
class AccessibilityElement {
public:
    virtual ~AccessibilityElement() = default;
    /// What it is, in the stored words: "AXTextField", "AXButton", ...
    [[nodiscard]] virtual std::optional<std::string> role() = 0;
    /// Null at the top of the tree too.
    [[nodiscard]] virtual std::unique_ptr<AccessibilityElement> parent() = 0;
    /// Global points, origin top left.
    [[nodiscard]] virtual std::optional<CGRect> frame() = 0;
    /// Around the text that is selected, global points; absent without a selection.
    [[nodiscard]] virtual std::optional<CGRect> selectedTextBounds() = 0;
};

/// What the user is working with: the front window, what is under the pointer, what has the keyboard. For one
/// thread at a time. Nothing throws.
class FocusInput {
public:
    virtual ~FocusInput() = default;
    /// The questions up to the next call are one sample. All of them together are answered, or given up,
    /// within half a second, whatever state other programs are in.
    virtual void beginSample() = 0;
    /// The process whose window is in front; absent if there is none.
    [[nodiscard]] virtual std::optional<std::int64_t> frontmostProcess() = 0;
    /// The topmost normal window of a process, with its decoration; global points, origin top left.
    [[nodiscard]] virtual std::optional<CGRect> windowFrame(std::int64_t processID) = 0;
    /// Null if there is none, or if programs don't tell.
    [[nodiscard]] virtual std::unique_ptr<AccessibilityElement> elementUnderPointer() = 0;
    /// The element of a process that takes the keys; null as above.
    [[nodiscard]] virtual std::unique_ptr<AccessibilityElement> focusedElement(std::int64_t processID) = 0;
};

}  // namespace varnelle
