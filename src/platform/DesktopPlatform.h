#pragma once

#include <exception>
#include <functional>
#include <memory>

#include "platform/CaptureDevices.h"
#include "platform/FocusInput.h"
#include "platform/InputMonitors.h"
#include "platform/PointerInput.h"
#include "platform/ScreenStream.h"
#include "platform/ShareableContent.h"

namespace varnelle {

/// The desktop that the program runs on: the one door to everything that knows an operating system. A main
/// program builds one and passes it on by constructor. Safe to share between threads; what it makes is for
/// one thread each.
class DesktopPlatform {
public:
    virtual ~DesktopPlatform() = default;

    /// Throws `PlatformError` if there is no desktop.
    [[nodiscard]] virtual ShareableContent shareableContent() = 0;
    /// `onStop` is called once, on any thread, if the stream ends on its own. Throws `PlatformError`.
    [[nodiscard]] virtual std::unique_ptr<ScreenStream> makeScreenStream(
        const ContentFilter& filter, const ScreenStreamConfiguration& configuration,
        std::function<void(std::exception_ptr)> onStop) = 0;
    /// Throws `PlatformError` if there is no desktop.
    [[nodiscard]] virtual std::unique_ptr<PointerInput> makePointerInput() = 0;
    /// Throws `PlatformError` if there is no desktop.
    [[nodiscard]] virtual std::unique_ptr<FocusInput> makeFocusInput() = 0;
    [[nodiscard]] virtual std::unique_ptr<InputMonitors> makeInputMonitors() = 0;
    [[nodiscard]] virtual CaptureDevices& captureDevices() = 0;
};

}  // namespace varnelle
