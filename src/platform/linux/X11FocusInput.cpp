#include "platform/linux/X11FocusInput.h"

namespace varnelle {
namespace {

/// Windows get more than elements, so that the frame of a window is told whatever its program does.
constexpr std::chrono::milliseconds kElementsTime{350};
constexpr std::chrono::milliseconds kWindowsTime{450};

}  // namespace

void X11FocusInput::beginSample() {
    const auto now = std::chrono::steady_clock::now();
    frontWindow_ = std::nullopt;
    accessibility_.beginSample(now + kElementsTime);
    windows_.beginSample(now + kWindowsTime);
}

std::optional<std::int64_t> X11FocusInput::frontmostProcess() {
    return windows_.frontmostProcess();
}

std::optional<CGRect> X11FocusInput::windowFrame(std::int64_t processID) {
    frontWindow_ = windows_.topmostWindow(processID);
    if (!frontWindow_) return std::nullopt;
    return frontWindow_->decoratedFrame;
}

std::unique_ptr<AccessibilityElement> X11FocusInput::elementUnderPointer() {
    const auto pointed = windows_.windowUnderPointer();
    if (!pointed) return nullptr;
    return accessibility_.elementAt(pointed->pointer, pointed->window.processID, pointed->window.frame);
}

std::unique_ptr<AccessibilityElement> X11FocusInput::focusedElement(std::int64_t processID) {
    if (!frontWindow_ || frontWindow_->processID != processID)
        frontWindow_ = windows_.topmostWindow(processID);
    if (!frontWindow_) return nullptr;
    return accessibility_.focusedElement(processID, frontWindow_->frame);
}

}  // namespace varnelle
