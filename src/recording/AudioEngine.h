#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/Queue.h"
#include "platform/DesktopPlatform.h"

namespace varnelle {

/// Knows the microphones, and can listen to one by itself. No recording uses it for that: it takes the
/// microphone from the stream of the screen. For one thread at a time.
class AudioEngine {
public:
    /// The microphones in the order in which the desktop names them. Any thread.
    [[nodiscard]] static std::vector<CaptureDevice> availableMicrophones(CaptureDevices& devices) {
        return devices.microphones();
    }

    /// Throws the platform's error for a microphone that can't be used. `onMicAudio` gets its sound on a
    /// queue of the engine's own while it runs.
    AudioEngine(DesktopPlatform& platform, const std::string& microphoneID,
                MicrophoneSession::SampleHandler onMicAudio)
        : captureSession_(
              platform.makeMicrophoneSession(microphoneID, processingQueue_, std::move(onMicAudio))) {}

    void startRunning() { captureSession_->startRunning(); }
    void stopRunning() { captureSession_->stopRunning(); }

private:
    SerialQueue processingQueue_{"com.varnelle.audio"};
    std::unique_ptr<MicrophoneSession> captureSession_;
};

}  // namespace varnelle
