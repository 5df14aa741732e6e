#include "platform/linux/LinuxDesktop.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "foundation/Log.h"
#include "platform/linux/CaptureFramePool.h"
#include "platform/linux/LinuxScreenStream.h"
#include "platform/linux/PipeWireAudioOutput.h"
#include "platform/linux/PipeWireCameraSession.h"
#include "platform/linux/PipeWireDevices.h"
#include "platform/linux/PipeWireHub.h"
#include "platform/linux/PipeWireSoundStream.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11ContentObserver.h"
#include "platform/linux/X11DisplayContent.h"
#include "platform/linux/X11Displays.h"
#include "platform/linux/X11FocusInput.h"
#include "platform/linux/X11GlobalShortcut.h"
#include "platform/linux/X11InputMonitors.h"
#include "platform/linux/X11PointerInput.h"
#include "platform/linux/X11ScreenStream.h"
#include "platform/linux/X11WindowManagement.h"
#include "platform/linux/X11WindowSeparation.h"
#include "platform/linux/X11Windows.h"

namespace varnelle {
namespace {

/// Empty if it isn't set.
std::string environmentValue(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

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
      windowSeparation_(X11WindowSeparation::make(displayName_)),
      pipeWire_(std::make_shared<PipeWireHub>(std::move(pipeWireName))),
      captureDevices_(std::make_unique<PipeWireDevices>(*pipeWire_)) {}

LinuxDesktop::~LinuxDesktop() = default;

std::optional<std::string> LinuxDesktop::displayObstacle() {
    const std::string display = environmentValue("DISPLAY");
    if (display.empty()) {
        return !environmentValue("WAYLAND_DISPLAY").empty()
                   ? "This Wayland session has no X11 support (Xwayland), which Varnelle needs to show "
                     "itself."
                   : "There is no display to show itself on: DISPLAY isn't set.";
    }
    try {
        const X11Connection connection{display};
        return std::nullopt;
    } catch (const PlatformError& error) {
        return error.what();
    }
}

/// Under Wayland an X server shows the programs that were written for it, and nothing else of the screen.
std::optional<std::string> LinuxDesktop::recordingObstacle() const {
    const bool isWayland =
        environmentValue("XDG_SESSION_TYPE") == "wayland" || !environmentValue("WAYLAND_DISPLAY").empty();
    if (!isWayland) return std::nullopt;
    return "This is a Wayland session. For now, recording needs an X11 session, which you can choose when "
           "you "
           "sign in. Projects can be edited here.";
}

ShareableContent LinuxDesktop::shareableContent(const ShareableContentOptions& options) {
    X11Connection connection(displayName_);
    ShareableContent content{listDisplays(connection), {}, listWindows(connection, options)};
    // The program itself is always there: its panels needn't be in the list of windows.
    content.applications.push_back({getpid(), {}, program_invocation_short_name});
    for (const ShareableWindow& window : content.windows) {
        const auto& application = window.owningApplication;
        if (!application) continue;
        auto& known = content.applications;
        const bool isKnown =
            std::any_of(known.begin(), known.end(), [&application](const ShareableApplication& other) {
                return other.processID != 0 ? other.processID == application->processID
                                            : other == *application;
            });
        if (!isKnown) known.push_back(*application);
    }
    return content;
}

std::unique_ptr<ContentObservation> LinuxDesktop::observeShareableContent(std::function<void()> onChange) {
    try {
        return std::make_unique<X11ContentObserver>(displayName_, std::move(onChange));
    } catch (const Error&) {
        return nullptr;
    }
}

void LinuxDesktop::raiseWindow(std::uint32_t windowID) {
    try {
        X11Connection connection(displayName_);
        bringToFront(connection, windowID);
    } catch (const PlatformError& error) {
        logger(LogCategory::app).info("A window wasn't raised: {}", error.what());
    }
}

std::optional<WindowIcon> LinuxDesktop::windowIcon(std::uint32_t windowID, int sizePixels) {
    try {
        X11Connection connection(displayName_);
        return iconOfWindow(connection, windowID, sizePixels);
    } catch (const PlatformError&) {
        return std::nullopt;
    }
}

std::optional<VideoFrame> LinuxDesktop::pictureOfDesktop(const PixelRect& area) {
    try {
        X11Connection connection(displayName_);
        X11DisplayContent content(connection, area, {getpid()}, std::nullopt, std::nullopt);
        CaptureFramePool pool(area.width(), area.height(), 1);
        const std::shared_ptr<CaptureBuffer> buffer = pool.acquire();
        PixelRegion all = content.takeChanges();
        all.add({0, 0, area.width(), area.height()});
        (void)content.fetch(*buffer, all, VideoFrame());
        return pool.lend(buffer);
    } catch (const PlatformError&) {
        return std::nullopt;
    }
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

std::unique_ptr<FocusInput> LinuxDesktop::makeFocusInput() {
    return std::make_unique<X11FocusInput>(displayName_);
}

std::unique_ptr<InputMonitors> LinuxDesktop::makeInputMonitors() {
    return std::make_unique<X11InputMonitors>(displayName_);
}

std::unique_ptr<WindowManagement> LinuxDesktop::makeWindowManagement() {
    return std::make_unique<X11WindowManagement>(displayName_);
}

std::unique_ptr<GlobalShortcut> LinuxDesktop::makeGlobalShortcut(const KeyChord& chord,
                                                                 std::function<void()> onPress) {
    try {
        return std::make_unique<X11GlobalShortcut>(displayName_, chord, std::move(onPress));
    } catch (const PlatformError& error) {
        logger(LogCategory::app).warn("A shortcut can't be had: {}", error.what());
        return nullptr;
    }
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

std::unique_ptr<AudioOutput> LinuxDesktop::makeAudioOutput() {
    return std::make_unique<PipeWireAudioOutput>(pipeWire_);
}

}  // namespace varnelle
