#pragma once

#include <memory>
#include <string>

#include "platform/DesktopPlatform.h"

namespace varnelle {

/// A Linux desktop under X11. Connections are made when something is asked for, so that a program starts
/// without a display too. The program's own windows are not left out of the picture.
class LinuxDesktop final : public DesktopPlatform {
public:
    /// `displayName` as in `$DISPLAY`; empty takes `$DISPLAY`.
    explicit LinuxDesktop(std::string displayName = {});
    ~LinuxDesktop() override;

    [[nodiscard]] ShareableContent shareableContent() override;
    [[nodiscard]] std::unique_ptr<ScreenStream> makeScreenStream(
        const ContentFilter& filter, const ScreenStreamConfiguration& configuration,
        std::function<void(std::exception_ptr)> onStop) override;
    [[nodiscard]] std::unique_ptr<PointerInput> makePointerInput() override;
    [[nodiscard]] std::unique_ptr<FocusInput> makeFocusInput() override;
    [[nodiscard]] std::unique_ptr<InputMonitors> makeInputMonitors() override;
    [[nodiscard]] CaptureDevices& captureDevices() override;

private:
    class NoCaptureDevices;

    std::string displayName_;
    std::unique_ptr<NoCaptureDevices> captureDevices_;
};

}  // namespace varnelle
