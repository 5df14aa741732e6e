#include "platform/linux/LinuxDesktop.h"

#include <utility>

#include "platform/linux/LinuxScreenStream.h"
#include "platform/linux/PipeWireCameraSession.h"
#include "platform/linux/PipeWireDevices.h"
#include "platform/linux/PipeWireHub.h"
#include "platform/linux/PipeWireSoundStream.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11Displays.h"
#include "platform/linux/X11PointerInput.h"
#include "platform/linux/X11ScreenStream.h"

namespace varnelle {
namespace {

class PipeWireMicrophone final : public MicrophoneSession {
public:
    PipeWireMicrophone(std::shared_ptr<PipeWireHub> hub, const std::string& microphoneID, SerialQueue& queue,
                       SampleHandler handler)
        : stream_(std::move(hub), PipeWireSoundStream::Source::microphone, microphoneID, queue,
                  std::move(handler)) {}
    void startRunning() override { stream_.start(); }
    void stopRunning() override {
        stream_.stop([] {});
    }

private:
    PipeWireSoundStream stream_;
};

}  // namespace

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

std::unique_ptr<MicrophoneSession> LinuxDesktop::makeMicrophoneSession(
    const std::string& microphoneID, SerialQueue& queue, MicrophoneSession::SampleHandler handler) {
    return std::make_unique<PipeWireMicrophone>(pipeWire_, microphoneID, queue, std::move(handler));
}

}  // namespace varnelle
