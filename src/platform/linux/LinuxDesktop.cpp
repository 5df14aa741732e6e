#include "platform/linux/LinuxDesktop.h"

#include <utility>

#include "platform/linux/LinuxScreenStream.h"
#include "platform/linux/PipeWireCameraSession.h"
#include "platform/linux/PipeWireDevices.h"
#include "platform/linux/PipeWireHub.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11Displays.h"
#include "platform/linux/X11PointerInput.h"
#include "platform/linux/X11ScreenStream.h"

namespace varnelle {

LinuxDesktop::LinuxDesktop(std::string displayName, std::string pipeWireName)
    : displayName_(std::move(displayName)),
      pipeWire_(std::make_shared<PipeWireHub>(std::move(pipeWireName))),
      captureDevices_(std::make_unique<PipeWireDevices>(*pipeWire_)) {}

LinuxDesktop::~LinuxDesktop() = default;

ShareableContent LinuxDesktop::shareableContent() {
    X11Connection connection(displayName_);
    return {listDisplays(connection), {}};
}

std::unique_ptr<ScreenStream> LinuxDesktop::makeScreenStream(const ContentFilter& filter,
                                                             const ScreenStreamConfiguration& configuration,
                                                             std::function<void(std::exception_ptr)> onStop) {
    auto picture = std::make_unique<X11ScreenStream>(displayName_, filter, configuration, std::move(onStop));
    return std::make_unique<LinuxScreenStream>(std::move(picture), pipeWire_, configuration);
}

std::unique_ptr<PointerInput> LinuxDesktop::makePointerInput() {
    return std::make_unique<X11PointerInput>(displayName_);
}

CaptureDevices& LinuxDesktop::captureDevices() {
    return *captureDevices_;
}

std::unique_ptr<CameraSession> LinuxDesktop::makeCameraSession(const std::string& cameraID,
                                                               CameraOutput output) {
    return std::make_unique<PipeWireCameraSession>(pipeWire_, cameraID, std::move(output));
}

}  // namespace varnelle
