#include "recording/CaptureEngine.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "foundation/Log.h"
#include "tasks/Completion.h"

namespace varnelle {
namespace {

constexpr int kMinimumQueueDepth = 4;
constexpr int kMaximumQueueDepth = 12;
constexpr std::uint64_t kFilteredFramesPerLogLine = 120;

/// The display that the source is a part of; null for a window by itself.
const ShareableDisplay* displayOf(const RecordingConfiguration::Source& source) {
    if (const auto* whole = std::get_if<RecordingConfiguration::DisplaySource>(&source))
        return &whole->display;
    if (const auto* area = std::get_if<RecordingConfiguration::AreaSource>(&source)) return &area->display;
    const auto& window = std::get<RecordingConfiguration::WindowSource>(source);
    return window.display ? &*window.display : nullptr;
}

void logStop(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        logger(LogCategory::capture).error("Stream stopped with error: {}", error.what());
    }
}

}  // namespace

ScreenStreamConfiguration streamConfiguration(const CaptureStreamOptions& options) {
    ScreenStreamConfiguration configuration;
    configuration.widthPixels = options.pixelSize.width;
    configuration.heightPixels = options.pixelSize.height;
    configuration.minimumFrameInterval = CMTime::make(1, options.frameRate);
    configuration.queueDepth = std::clamp(options.queueDepth, kMinimumQueueDepth, kMaximumQueueDepth);
    configuration.capturesAudio = options.capturesSystemAudio;
    configuration.captureMicrophone = options.capturesMicrophone;
    if (options.capturesMicrophone && options.preferredMicrophoneID &&
        !options.preferredMicrophoneID->empty()) {
        configuration.microphoneCaptureDeviceID = options.preferredMicrophoneID;
    }
    return configuration;
}

CaptureEngine::CaptureEngine(DesktopPlatform& platform) : platform_(platform) {}

CaptureEngine::~CaptureEngine() = default;

void CaptureEngine::configureStream(const RecordingConfiguration::Source& source,
                                    std::vector<ShareableApplication> excludedApplications,
                                    const CaptureStreamOptions& options) {
    ScreenStreamConfiguration configuration = streamConfiguration(options);
    configuration.sourceRect = sourceRect(source);
    configuration.scalesToFit = configuration.sourceRect.has_value();
    ContentFilter filter;
    if (const ShareableDisplay* display = displayOf(source)) {
        DisplayFilter shown{*display, std::move(excludedApplications)};
        if (const auto* window = std::get_if<RecordingConfiguration::WindowSource>(&source))
            shown.window = window->window;
        filter = std::move(shown);
    } else {
        configuration.ignoreShadowsSingleWindow = true;
        filter = WindowFilter{std::get<RecordingConfiguration::WindowSource>(source).window};
    }
    auto stream = platform_.makeScreenStream(filter, configuration, logStop);
    addOutputs(*stream, options);
    stream_ = std::move(stream);
}

void CaptureEngine::addOutputs(ScreenStream& stream, const CaptureStreamOptions& options) {
    using OutputType = ScreenStream::OutputType;
    stream.addOutput(OutputType::screen, videoQueue_,
                     [this](const SampleBuffer& sample) { receiveScreenSample(sample); });
    if (options.capturesSystemAudio) {
        stream.addOutput(OutputType::audio, audioQueue_, [this](const SampleBuffer& sample) {
            if (sample.isValid() && onSystemAudio) onSystemAudio(sample);
        });
    }
    if (!options.capturesMicrophone) return;
    try {
        stream.addOutput(OutputType::microphone, audioQueue_, [this](const SampleBuffer& sample) {
            if (sample.isValid() && onMicAudio) onMicAudio(sample);
        });
    } catch (const Error& error) {
        logger(LogCategory::capture)
            .warn("Microphone output addition failed (continuing without mic): {}", error.what());
    }
}

QCoro::Task<> CaptureEngine::startCapture() {
    if (stream_ == nullptr) throw CaptureError(CaptureError::Code::notConfigured);
    const auto start = [this](auto done) {
        controlQueue_.async([stream = stream_.get(), done] { stream->startCapture(done); });
    };
    const Completion<void> started = completionOf(start);
    co_await started;
}

QCoro::Task<> CaptureEngine::stopCapture() {
    if (stream_ == nullptr) co_return;
    const auto stop = [this](auto done) {
        controlQueue_.async([stream = stream_.get(), done] { stream->stopCapture(done); });
    };
    const Completion<void> stopped = completionOf(stop);
    co_await stopped;
    // What is left of it ends beside the main thread.
    controlQueue_.async([stream = std::shared_ptr(std::move(stream_))]() mutable { stream = nullptr; });
}

void CaptureEngine::receiveScreenSample(const SampleBuffer& sample) {
    if (!sample.isValid()) return;
    if (sample.attachments.status.value_or(FrameStatus::complete) == FrameStatus::complete) {
        if (onVideoFrame) onVideoFrame(sample);
        return;
    }
    if (++filteredScreenFrames_ % kFilteredFramesPerLogLine == 0) {
        logger(LogCategory::capture).info("Filtered {} non-complete screen frames.", filteredScreenFrames_);
    }
}

}  // namespace varnelle
