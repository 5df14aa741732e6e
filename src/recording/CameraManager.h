#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Error.h"
#include "foundation/Queue.h"
#include "platform/CameraSession.h"
#include "platform/DesktopPlatform.h"
#include "recording/CameraFeed.h"

namespace varnelle {

class CameraError : public Error {
public:
    enum class Code { noDeviceAvailable, cannotAddInput, cannotAddOutput };

    explicit CameraError(Code code);
    [[nodiscard]] Code code() const { return code_; }

private:
    Code code_;
};

/// Owns the session with a camera, first for the preview while a recording is set up, then for the recording
/// itself: the running session is handed on without a stop.
///
/// Set-up may run on any thread, before anything else; afterwards all calls are for one thread, the main one.
/// Frames are counted and handed on on the queue "com.varnelle.camera". The session must be stopped before
/// the last holder drops the manager, or is stopped then.
class CameraManager final : public CameraFeed {
public:
    struct Counters {
        std::uint64_t forwardedVideoFrames = 0;
        std::uint64_t droppedVideoFrames = 0;
        bool operator==(const Counters&) const = default;
    };

    /// The platform must outlive the manager.
    explicit CameraManager(DesktopPlatform& platform);
    ~CameraManager() override;
    CameraManager(const CameraManager&) = delete;
    CameraManager& operator=(const CameraManager&) = delete;

    /// The cameras in the order in which the desktop names them.
    [[nodiscard]] static std::vector<CaptureDevice> availableCameras(CaptureDevices& devices) {
        return devices.cameras();
    }

    /// Takes the camera with the ID, or the first one, in place of whatever was set up before. A camera that
    /// isn't there has no substitute. Throws `CameraError` (`noDeviceAvailable`, or `cannotAddInput` for one
    /// that can't be used); the manager has no device then.
    ///
    /// A microphone is captured beside the camera if its ID is given, which no recording does: it takes the
    /// microphone from the stream of the screen. One that isn't there is left out; the platform's error for
    /// one that can't be used is passed on.
    void setup(const std::optional<std::string>& preferredCameraID,
               const std::optional<std::string>& preferredMicrophoneID = std::nullopt);

    void setOnCameraFrame(FrameCallback callback) override;
    void start() override;
    void stop() override;
    [[nodiscard]] bool isRunning() const override;
    [[nodiscard]] std::optional<PixelSize> activeFormatDimensions() const override;

    /// A second receiver, for what shows the camera while it is set up or recorded; the same rules as for
    /// `setOnCameraFrame`, and independent of it.
    void setOnPreviewFrame(FrameCallback callback);
    /// The newest frame that has been handed on since the last start, for who draws at a pace of its own. Any
    /// thread.
    [[nodiscard]] std::optional<SampleBuffer> latestFrame() const;
    /// Who gets the microphone's sound, on the queue "com.varnelle.camera.audio".
    void setOnMicAudio(FrameCallback callback);
    [[nodiscard]] bool isCapturingAudio() const { return microphone_ != nullptr; }
    [[nodiscard]] const std::optional<CaptureDevice>& currentDevice() const { return currentDevice_; }
    [[nodiscard]] Counters counters();

private:
    void receiveFrame(const SampleBuffer& frame);
    void noteDrop();
    void addMicrophone(const std::string& microphoneID);

    DesktopPlatform& platform_;
    std::optional<CaptureDevice> currentDevice_;

    mutable std::mutex mutex_;
    FrameCallback onCameraFrame_;              // guarded by mutex_, also while it runs
    FrameCallback onPreviewFrame_;             // guarded by mutex_, also while it runs
    std::optional<SampleBuffer> latestFrame_;  // guarded by mutex_
    FrameCallback onMicAudio_;                 // guarded by mutex_, also while it runs

    Counters counters_;  // queue only
    SerialQueue processingQueue_{"com.varnelle.camera"};
    SerialQueue audioQueue_{"com.varnelle.camera.audio"};
    // Last: their output uses the rest.
    std::unique_ptr<CameraSession> session_;
    std::unique_ptr<MicrophoneSession> microphone_;
};

/// Sets up a manager for each recording that brings no running camera of its own.
CameraFactory cameraManagerFactory(DesktopPlatform& platform);

}  // namespace varnelle
