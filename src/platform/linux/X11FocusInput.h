#pragma once

#include <string>

#include "platform/FocusInput.h"
#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/X11FrontWindows.h"

namespace varnelle {

/// Windows as the X server and its window manager tell them, elements from the accessibility bus. Without the
/// bus only the elements are absent.
class X11FocusInput final : public FocusInput {
public:
    /// Throws `PlatformError`.
    explicit X11FocusInput(const std::string& displayName)
        : windows_(displayName), accessibility_(windows_.pixelsPerPoint()) {}

    void beginSample() override;
    [[nodiscard]] std::optional<std::int64_t> frontmostProcess() override;
    [[nodiscard]] std::optional<CGRect> windowFrame(std::int64_t processID) override;
    [[nodiscard]] std::unique_ptr<AccessibilityElement> elementUnderPointer() override;
    [[nodiscard]] std::unique_ptr<AccessibilityElement> focusedElement(std::int64_t processID) override;

private:
    X11FrontWindows windows_;
    AtspiAccessibility accessibility_;
    /// As it was found during this sample.
    std::optional<X11FrontWindows::Window> frontWindow_;
};

}  // namespace varnelle
