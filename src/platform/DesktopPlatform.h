#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <string>

#include "platform/CameraSession.h"
#include "platform/CaptureDevices.h"
#include "platform/MicrophoneSession.h"
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
    [[nodiscard]] virtual CaptureDevices& captureDevices() = 0;
    /// `cameraID` is the unique ID of one of the cameras. Throws `PlatformError` if it can't be used.
    [[nodiscard]] virtual std::unique_ptr<CameraSession> makeCameraSession(const std::string& cameraID,
                                                                           CameraOutput output) = 0;
    /// `microphoneID` is the unique ID of one of the microphones; `handler` is called on `queue`, which must
    /// outlive the session. Throws `PlatformError` if it can't be used.
    [[nodiscard]] virtual std::unique_ptr<MicrophoneSession> makeMicrophoneSession(
        const std::string& microphoneID, SerialQueue& queue, MicrophoneSession::SampleHandler handler) = 0;
};

}  // namespace varnelle
