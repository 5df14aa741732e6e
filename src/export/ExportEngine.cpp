#include "export/ExportEngine.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <mutex>

#include "export/ExportError.h"
#include "foundation/CMTime.h"
#include "render/VideoCompositor.h"
#include "tasks/Completion.h"

namespace varnelle {
namespace {

constexpr std::chrono::milliseconds kProgressInterval{100};
constexpr VideoCodec kCodec = VideoCodec::hevc;

int evenPixels(double size) {
    const double limited = std::clamp(std::floor(size), 0.0, 1e6);
    return static_cast<int>(limited) / 2 * 2;
}

VideoSettings videoSettings(CGSize renderSize, ExportPreset preset, int frameRate) {
    VideoSettings settings;
    settings.codec = kCodec;
    settings.purpose = EncodingPurpose::export_;
    settings.width = evenPixels(renderSize.width);
    settings.height = evenPixels(renderSize.height);
    settings.averageBitRate = info(preset).bitRate;
    settings.expectedSourceFrameRate = frameRate;
    settings.allowsFrameReordering = true;
    return settings;
}

}  // namespace

/// The presentation time of the last frame appended, in seconds. Written by the pump, read by the timer.
class ExportEngine::ProgressTracker {
public:
    void setSeconds(double seconds) {
        const std::lock_guard lock(lock_);
        storedSeconds_ = seconds;
    }
    [[nodiscard]] double seconds() const {
        const std::lock_guard lock(lock_);
        return storedSeconds_;
    }

private:
    mutable std::mutex lock_;
    double storedSeconds_ = 0;  // guarded by lock_
};

ExportEngine::ExportEngine() {
    progressTimer_.setInterval(kProgressInterval);
}

ExportEngine::~ExportEngine() {
    cancel();
}

QCoro::Task<> ExportEngine::exportProject(Project project, ExportSettings settings,
                                          std::function<void(double)> onProgress,
                                          std::function<void(Result)> onComplete) {
    setIsExporting(true);
    setProgress(0);
    isCancelled_ = false;
    Result result;
    try {
        result = co_await run(std::move(project), std::move(settings), std::move(onProgress));
        setProgress(1);
    } catch (...) {
        result = std::current_exception();
    }
    cleanUp();
    onComplete(std::move(result));
}

void ExportEngine::cancel() {
    isCancelled_ = true;
    if (assetReader_) assetReader_->cancelReading();
    if (assetWriter_) assetWriter_->cancelWriting();
    progressTimer_.stop();
    setIsExporting(false);
}

QCoro::Task<URL> ExportEngine::run(Project project, ExportSettings settings,
                                   std::function<void(double)> onProgress) {
    const int frameRate = exportFrameRate(settings.frameRate.value_or(project.recordingSession.frameRate));
    const auto renderSize = info(settings.preset).targetSize;
    const CompositionResult composition = co_await resultOn(buildQueue_, [project, renderSize, frameRate] {
        return VideoCompositor::buildComposition(project, renderSize, frameRate);
    });
    if (isCancelled_) throw ExportError::cancelled();

    // The writer keeps the unfinished movie beside the file of that name and puts it in its place at the end,
    // so that an export that fails doesn't cost the movie that was there.
    const URL url = settings.outputURL();
    assetReader_ = std::make_shared<AssetReader>(composition.composition, composition.videoComposition);
    AssetWriter::Options options;
    options.optimizesForNetworkUse = true;
    assetWriter_ = std::make_shared<AssetWriter>(url, FileType::mpeg4, options);
    // Shares the writer's life: the pump may still run while the engine already lets go of the writer.
    const std::shared_ptr<AssetWriterInput> input(
        assetWriter_,
        assetWriter_->addVideoInput(videoSettings(composition.renderSize, settings.preset, frameRate)));
    if (!assetReader_->startReading() || !assetWriter_->startWriting()) {
        throwUnlessComplete();
        throw ExportError::unknown();
    }
    assetWriter_->startSession(kCMTimeZero);

    const auto tracker = std::make_shared<ProgressTracker>();
    startProgressTimer(tracker, clampedSeconds(composition.duration), std::move(onProgress));
    co_await pump(input, tracker);
    progressTimer_.stop();
    throwUnlessComplete();
    co_await futureOf([this](auto done) { assetWriter_->finishWriting([done] { done(nullptr); }); });
    throwUnlessComplete();
    co_return url;
}

QCoro::Task<> ExportEngine::pump(std::shared_ptr<AssetWriterInput> input,
                                 std::shared_ptr<ProgressTracker> tracker) {
    co_await futureOf([&](auto done) {
        // The writer may ask once more after the end: only the first end counts.
        const auto hasFinished = std::make_shared<bool>(false);
        const auto finish = [input, done, hasFinished] {
            if (std::exchange(*hasFinished, true)) return;
            input->markAsFinished();
            done(nullptr);
        };
        input->requestMediaDataWhenReady(
            videoQueue_, [input, tracker, finish, hasFinished, reader = assetReader_, writer = assetWriter_] {
                while (!*hasFinished) {
                    if (writer->status() == TransferStatus::failed ||
                        writer->status() == TransferStatus::cancelled) {
                        reader->cancelReading();
                        return finish();
                    }
                    if (!input->isReadyForMoreMediaData()) return;
                    const auto sample = reader->copyNextSampleBuffer();
                    if (!sample) return finish();
                    // A refused frame shows in the writer's status.
                    (void)input->append(*sample);
                    tracker->setSeconds(clampedSeconds(sample->presentationTime));
                }
            });
    });
}

void ExportEngine::startProgressTimer(std::shared_ptr<ProgressTracker> tracker, double durationSeconds,
                                      std::function<void(double)> onProgress) {
    progressTimer_.disconnect();
    connect(&progressTimer_, &QTimer::timeout, this, [this, tracker, durationSeconds, onProgress] {
        const double share =
            durationSeconds > 0 ? std::clamp(tracker->seconds() / durationSeconds, 0.0, 1.0) : 0;
        setProgress(share);
        if (onProgress) onProgress(share);
    });
    progressTimer_.start();
}

/// Throws the reader's error, else the writer's, if either has failed, and `cancelled` if either was
/// cancelled.
void ExportEngine::throwUnlessComplete() const {
    if (isCancelled_) throw ExportError::cancelled();
    const bool readerFailed = assetReader_->status() == TransferStatus::failed;
    const bool writerFailed = assetWriter_->status() == TransferStatus::failed;
    if (readerFailed || writerFailed) {
        if (readerFailed && assetReader_->error()) std::rethrow_exception(assetReader_->error());
        if (assetWriter_->error()) std::rethrow_exception(assetWriter_->error());
        throw ExportError::unknown();
    }
    if (assetReader_->status() == TransferStatus::cancelled ||
        assetWriter_->status() == TransferStatus::cancelled) {
        throw ExportError::cancelled();
    }
}

void ExportEngine::cleanUp() {
    progressTimer_.stop();
    if (assetWriter_ && assetWriter_->status() != TransferStatus::completed) assetWriter_->cancelWriting();
    if (assetReader_) assetReader_->cancelReading();
    assetReader_.reset();
    assetWriter_.reset();
    setIsExporting(false);
}

void ExportEngine::setProgress(double progress) {
    if (_progress == progress) return;
    _progress = progress;
    emit progressChanged();
}

void ExportEngine::setIsExporting(bool isExporting) {
    if (_isExporting == isExporting) return;
    _isExporting = isExporting;
    emit isExportingChanged();
}

}  // namespace varnelle
