#pragma once

#include <QCoro/QCoroTask>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Error.h"
#include "foundation/Queue.h"
#include "platform/DesktopPlatform.h"
#include "recording/RecordingConfiguration.h"
#include "recording/RecordingGeometry.h"

namespace varnelle {

class CaptureError : public Error {
public:
    enum class Code { notConfigured, permissionDenied };

    explicit CaptureError(Code code)
        : Error(code == Code::notConfigured ? "The screen stream has not been set up."
                                            : "The screen may not be recorded."),
          code_(code) {}
    [[nodiscard]] Code code() const { return code_; }

private:
    Code code_;
};

/// How a stream is to be set up, whatever it shows.
struct CaptureStreamOptions {
    int frameRate = 60;
    int queueDepth = 6;
    PixelSize pixelSize;
    bool capturesSystemAudio = false;
    bool capturesMicrophone = false;  ///< only if there is a microphone
    std::optional<std::string> preferredMicrophoneID;
};

ScreenStreamConfiguration streamConfiguration(const CaptureStreamOptions& options);

/// Owns the stream of the screen with its sound, leaves out pictures that aren't complete, and forwards the
/// rest.
///
/// Set-up waits for the desktop and is for one thread at a time; start and stop are for the main thread and
/// don't hold it up. The callbacks are set before the start and are called on the engine's queues.
class CaptureEngine {
public:
    using SampleCallback = std::function<void(const SampleBuffer&)>;

    explicit CaptureEngine(DesktopPlatform& platform);
    ~CaptureEngine();
    CaptureEngine(const CaptureEngine&) = delete;
    CaptureEngine& operator=(const CaptureEngine&) = delete;

    /// Makes the stream of a source. `excludedApplications` are left out of displays and parts of them.
    /// Throws the platform's error; a microphone that can't be added is only logged.
    void configureStream(const RecordingConfiguration::Source& source,
                         std::vector<ShareableApplication> excludedApplications,
                         const CaptureStreamOptions& options);
    /// Throws `CaptureError` (`notConfigured`) or the platform's error.
    QCoro::Task<> startCapture();
    /// Does nothing without a stream. Throws the platform's error, and keeps the stream then.
    QCoro::Task<> stopCapture();

    SampleCallback onVideoFrame;
    SampleCallback onSystemAudio;
    SampleCallback onMicAudio;

private:
    void addOutputs(ScreenStream& stream, const CaptureStreamOptions& options);
    void receiveScreenSample(const SampleBuffer& sample);

    DesktopPlatform& platform_;
    std::uint64_t filteredScreenFrames_ = 0;  // video queue only
    SerialQueue videoQueue_{"com.varnelle.capture.video"};
    SerialQueue audioQueue_{"com.varnelle.capture.audio"};
    // After the queues and callbacks that it uses.
    std::unique_ptr<ScreenStream> stream_;
    // Last: its blocks use the stream.
    SerialQueue controlQueue_{"com.varnelle.capture.control"};
};

}  // namespace varnelle
