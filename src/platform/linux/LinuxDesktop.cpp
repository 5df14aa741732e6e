#include "platform/linux/LinuxDesktop.h"

#include <utility>

#include "platform/linux/X11Connection.h"
#include "platform/linux/X11Displays.h"
#include "platform/linux/X11FocusInput.h"
#include "platform/linux/X11InputMonitors.h"
#include "platform/linux/X11PointerInput.h"
#include "platform/linux/X11ScreenStream.h"

namespace varnelle {

class LinuxDesktop::NoCaptureDevices final : public CaptureDevices {
public:
    std::vector<CaptureDevice> microphones() override { return {}; }
};

LinuxDesktop::LinuxDesktop(std::string displayName)
    : displayName_(std::move(displayName)), captureDevices_(std::make_unique<NoCaptureDevices>()) {}

LinuxDesktop::~LinuxDesktop() = default;

ShareableContent LinuxDesktop::shareableContent() {
    X11Connection connection(displayName_);
    return {listDisplays(connection), {}};
}

std::unique_ptr<ScreenStream> LinuxDesktop::makeScreenStream(const ContentFilter& filter,
                                                             const ScreenStreamConfiguration& configuration,
                                                             std::function<void(std::exception_ptr)> onStop) {
    return std::make_unique<X11ScreenStream>(displayName_, filter, configuration, std::move(onStop));
}

std::unique_ptr<PointerInput> LinuxDesktop::makePointerInput() {
    return std::make_unique<X11PointerInput>(displayName_);
}

std::unique_ptr<FocusInput> LinuxDesktop::makeFocusInput() {
    return std::make_unique<X11FocusInput>(displayName_);
}

std::unique_ptr<InputMonitors> LinuxDesktop::makeInputMonitors() {
    return std::make_unique<X11InputMonitors>(displayName_);
}

CaptureDevices& LinuxDesktop::captureDevices() {
    return *captureDevices_;
}

}  // namespace varnelle
