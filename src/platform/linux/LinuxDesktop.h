#pragma once

#include <memory>
#include <string>

#include "platform/DesktopPlatform.h"

namespace varnelle {

class PipeWireDevices;
class PipeWireHub;
class X11WindowSeparation;

/// A Linux desktop under X11, with sound and cameras from PipeWire. Connections to the display are made when
/// something is asked for, so that a program starts without one too; PipeWire is looked for from the start,
/// by a thread of its own.
class LinuxDesktop final : public DesktopPlatform {
public:
    /// `displayName` as in `$DISPLAY`; empty takes `$DISPLAY`. `pipeWireName` is the name of a PipeWire
    /// server or the path of its socket; empty takes the user's own.
    explicit LinuxDesktop(std::string displayName = {}, std::string pipeWireName = {});
    ~LinuxDesktop() override;

    /// Why the program can't show itself, for the user to read; absent if it can. `$DISPLAY` is tried.
    [[nodiscard]] static std::optional<std::string> displayObstacle();

    [[nodiscard]] std::optional<std::string> recordingObstacle() const override;
    [[nodiscard]] ShareableContent shareableContent(const ShareableContentOptions& options) override;
    [[nodiscard]] std::unique_ptr<ContentObservation> observeShareableContent(
        std::function<void()> onChange) override;
    void raiseWindow(std::uint32_t windowID) override;
    [[nodiscard]] std::optional<WindowIcon> windowIcon(std::uint32_t windowID, int sizePixels) override;
    [[nodiscard]] std::optional<VideoFrame> pictureOfDesktop(const PixelRect& area) override;
    [[nodiscard]] std::unique_ptr<ScreenStream> makeScreenStream(
        const ContentFilter& filter, const ScreenStreamConfiguration& configuration,
        std::function<void(std::exception_ptr)> onStop) override;
    [[nodiscard]] std::unique_ptr<PointerInput> makePointerInput() override;
    [[nodiscard]] std::unique_ptr<FocusInput> makeFocusInput() override;
    [[nodiscard]] std::unique_ptr<InputMonitors> makeInputMonitors() override;
    [[nodiscard]] std::unique_ptr<WindowManagement> makeWindowManagement() override;
    [[nodiscard]] std::unique_ptr<GlobalShortcut> makeGlobalShortcut(const KeyChord& chord,
                                                                     std::function<void()> onPress) override;
    [[nodiscard]] CaptureDevices& captureDevices() override;
    [[nodiscard]] std::unique_ptr<CameraSession> makeCameraSession(const std::string& cameraID,
                                                                   CameraOutput output) override;
    [[nodiscard]] std::unique_ptr<MicrophoneSession> makeMicrophoneSession(
        const std::string& microphoneID, SerialQueue& queue,
        MicrophoneSession::SampleHandler handler) override;
    [[nodiscard]] std::unique_ptr<AudioOutput> makeAudioOutput() override;

private:
    std::string displayName_;
    std::unique_ptr<X11WindowSeparation> windowSeparation_;  ///< null where there is none
    std::shared_ptr<PipeWireHub> pipeWire_;
    std::unique_ptr<PipeWireDevices> captureDevices_;
};

}  // namespace varnelle
