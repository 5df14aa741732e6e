#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "media/SilentAudioOutput.h"
#include "platform/DesktopPlatform.h"
#include "recording/CameraFeed.h"
#include "recording/FakeInputs.h"

namespace varnelle::test {

class FakeScreenStream;

/// A desktop that the test plays: it delivers the samples, holds the pointer, and fails on request.
class FakeDesktop final : public DesktopPlatform, public CaptureDevices {
public:
    std::optional<std::string> recordingObstacle() const override { return obstacle; }
    ShareableContent shareableContent(const ShareableContentOptions& options) override;
    std::unique_ptr<ContentObservation> observeShareableContent(std::function<void()> onChange) override;
    void raiseWindow(std::uint32_t windowID) override { raisedWindowID = windowID; }
    std::optional<WindowIcon> windowIcon(std::uint32_t windowID, int sizePixels) override;
    std::optional<VideoFrame> pictureOfDesktop(const PixelRect&) override { return std::nullopt; }
    std::unique_ptr<ScreenStream> makeScreenStream(const ContentFilter& filter,
                                                   const ScreenStreamConfiguration& configuration,
                                                   std::function<void(std::exception_ptr)> onStop) override;
    std::unique_ptr<PointerInput> makePointerInput() override;
    std::unique_ptr<FocusInput> makeFocusInput() override;
    std::unique_ptr<InputMonitors> makeInputMonitors() override;
    std::unique_ptr<WindowManagement> makeWindowManagement() override;
    std::unique_ptr<GlobalShortcut> makeGlobalShortcut(const KeyChord& chord,
                                                       std::function<void()> onPress) override;
    CaptureDevices& captureDevices() override { return *this; }
    std::unique_ptr<CameraSession> makeCameraSession(const std::string& cameraID,
                                                     CameraOutput output) override;
    std::unique_ptr<MicrophoneSession> makeMicrophoneSession(
        const std::string& microphoneID, SerialQueue& queue,
        MicrophoneSession::SampleHandler handler) override;
    std::unique_ptr<AudioOutput> makeAudioOutput() override { return std::make_unique<SilentAudioOutput>(); }
    std::vector<CaptureDevice> microphones() override;
    std::vector<CaptureDevice> cameras() override;
    std::shared_ptr<void> observeChanges(ChangeHandler onChange) override {
        onDeviceChange = std::move(onChange);
        return nullptr;
    }

    /// Queues a sample at the running stream's output. Without a stream or such an output it is lost.
    void deliver(ScreenStream::OutputType type, const SampleBuffer& sample);
    /// Ends the running stream with an error.
    void endStream(std::exception_ptr error);
    [[nodiscard]] bool isStreamRunning() const;

    static ShareableDisplay display(int widthPixels, int heightPixels);

    std::vector<CaptureDevice> microphoneList;
    std::vector<ShareableDisplay> displays{display(128, 128)};
    std::vector<CaptureDevice> cameraList;
    std::vector<ShareableApplication> applications;
    std::vector<ShareableWindow> windows;
    /// The icons of windows, by their numbers. Asked for on any thread, so set them before.
    std::map<std::uint32_t, WindowIcon> windowIcons;
    std::atomic<int> wantedIconSize{0};
    std::function<void()> onContentChange;  ///< set while somebody observes
    ChangeHandler onDeviceChange;
    bool refusesCamera = false;
    std::optional<CameraDimensions> cameraDimensions = CameraDimensions{640, 480};
    std::string usedCameraID;
    std::optional<CameraOutput> cameraOutput;  ///< of the newest camera session
    int runningCameraSessions = 0;
    std::string usedMicrophoneID;
    std::function<void(const SampleBuffer&)> hearMicrophone;  ///< of the newest microphone session
    int runningMicrophoneSessions = 0;
    std::atomic<std::uint32_t> raisedWindowID{0};
    std::map<std::uint64_t, PanelBehaviour> panels;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> windowsOrderedBelow;  ///< each with its sibling
    std::optional<KeyChord> shortcut;                                          ///< of the one that lives
    std::function<void()> pressShortcut;
    bool refusesShortcut = false;
    std::optional<std::string> obstacle;
    /// What each question to the desktop takes; all of them hold up the thread that asks.
    std::chrono::milliseconds delay{0};
    bool refusesContent = false;
    bool refusesMicrophone = false;
    bool failsStart = false;
    bool failsStop = false;
    std::function<void()> onStart;  ///< called when the stream has started
    std::optional<ContentFilter> usedFilter;
    std::optional<ScreenStreamConfiguration> usedConfiguration;

private:
    friend class FakeScreenStream;

    void takeTime() const;

    FakeScreenStream* stream_ = nullptr;
};

/// A camera that the test plays. It calls its callback on the test's thread.
class FakeCamera final : public CameraFeed {
public:
    void setOnCameraFrame(FrameCallback callback) override { callback_ = std::move(callback); }
    void start() override;
    void stop() override { isRunning_ = false; }
    [[nodiscard]] bool isRunning() const override { return isRunning_; }
    [[nodiscard]] std::optional<PixelSize> activeFormatDimensions() const override { return dimensions; }
    void deliver(const SampleBuffer& sample) {
        if (callback_) callback_(sample);
    }
    [[nodiscard]] bool hasCallback() const { return callback_ != nullptr; }

    std::optional<PixelSize> dimensions = PixelSize{128, 128};
    std::function<void()> onStart;
    int startCount = 0;

private:
    FrameCallback callback_;
    bool isRunning_ = false;
};

}  // namespace varnelle::test
