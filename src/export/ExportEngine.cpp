#include "export/ExportEngine.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <mutex>

#include "export/ExportError.h"
#include "foundation/CMTime.h"
#include "render/AudioMixBuilder.h"
#include "render/VideoCompositor.h"

namespace varnelle {
namespace {

constexpr std::chrono::milliseconds kProgressInterval{100};
constexpr AudioSettings kAudioSettings{48'000, 2, 256'000};
/// Of sound tracks that no known source was recorded to.
constexpr float kOtherVolume = 1;

int evenPixels(double size) {
    const double limited = std::clamp(std::floor(size), 0.0, 1e6);
    return static_cast<int>(limited) / 2 * 2;
}

VideoSettings videoSettings(CGSize renderSize, ExportPreset preset, int frameRate) {
    VideoSettings settings;
    settings.codec = kExportCodec;
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
    if (audioReader_) audioReader_->cancelReading();
    if (assetWriter_) assetWriter_->cancelWriting();
    progressTimer_.stop();
    setIsExporting(false);
}

QCoro::Task<URL> ExportEngine::run(Project project, ExportSettings settings,
                                   std::function<void(double)> onProgress) {
    const int frameRate = exportFrameRate(settings.frameRate.value_or(project.recordingSession.frameRate));
    const auto renderSize = info(settings.preset).targetSize;
    // GCC 12 destroys the captures of a lambda twice if the lambda is made inside an awaiting expression (its
    // bug 99576), here and below; so what is awaited has names.
    const Completion<CompositionResult> building = resultOn(buildQueue_, [project, renderSize, frameRate] {
        return VideoCompositor::buildComposition(project, renderSize, frameRate);
    });
    const CompositionResult composition = co_await building;
    if (isCancelled_) throw ExportError::cancelled();

    // The writer keeps the unfinished movie beside the file of that name and puts it in its place at the end,
    // so that an export that fails doesn't cost the movie that was there.
    const URL url = settings.outputURL();
    openReaders(project, composition, settings.includeAudio);
    AssetWriter::Options options;
    options.optimizesForNetworkUse = true;
    assetWriter_ = std::make_shared<AssetWriter>(url, FileType::mpeg4, options);
    // They share the writer's life: a pump may still run while the engine already lets go of the writer.
    const std::shared_ptr<AssetWriterInput> videoInput(
        assetWriter_,
        assetWriter_->addVideoInput(videoSettings(composition.renderSize, settings.preset, frameRate)));
    std::shared_ptr<AssetWriterInput> audioInput;
    if (audioReader_) audioInput = {assetWriter_, assetWriter_->addAudioInput(kAudioSettings)};
    if (!assetReader_->startReading() || (audioReader_ && !audioReader_->startReading()) ||
        !assetWriter_->startWriting()) {
        throwUnlessComplete();
        throw ExportError::unknown();
    }
    assetWriter_->startSession(kCMTimeZero);

    const auto tracker = std::make_shared<ProgressTracker>();
    startProgressTimer(tracker, clampedSeconds(composition.duration), onProgress);
    const Completion<void> videoPumping =
        pump(videoQueue_, videoInput, assetReader_,
             [tracker](const auto& sample) { tracker->setSeconds(clampedSeconds(sample.presentationTime)); });
    Completion<void> audioPumping;
    if (audioReader_) audioPumping = pump(audioQueue_, audioInput, audioReader_, nullptr);
    co_await videoPumping;
    if (audioReader_) co_await audioPumping;
    progressTimer_.stop();
    throwUnlessComplete();
    const Completion<void> finishing =
        completionOf([this](auto done) { assetWriter_->finishWriting([done] { done(nullptr); }); });
    co_await finishing;
    throwUnlessComplete();
    co_return url;
}

void ExportEngine::openReaders(const Project& project, const CompositionResult& composition,
                               bool includesAudio) {
    assetReader_ = std::make_shared<AssetReader>(composition.composition, composition.videoComposition);
    if (!includesAudio || composition.audioTrackIDs.empty()) return;
    const auto routing =
        AudioTrackRouting::pairing(composition.audioTrackIDs, project.recordingSession.availableAudioSources);
    audioReader_ = std::make_shared<AudioMixReader>(
        composition.composition, audioMix(routing, project.timeline.audioConfiguration, kOtherVolume));
}

/// Moves samples from a reader to an input until the reader has no more. It never fails: what went
/// wrong shows in the status of reader and writer.
template <typename Reader>
Completion<void> ExportEngine::pump(SerialQueue& queue, std::shared_ptr<AssetWriterInput> input,
                                    std::shared_ptr<Reader> reader,
                                    std::function<void(const SampleBuffer&)> onAppended) {
    return completionOf([&](auto done) {
        // The writer may ask once more after the end: only the first end counts.
        const auto hasFinished = std::make_shared<bool>(false);
        const auto finish = [input, done, hasFinished] {
            if (std::exchange(*hasFinished, true)) return;
            input->markAsFinished();
            done(nullptr);
        };
        input->requestMediaDataWhenReady(queue, [input, reader, onAppended, finish, hasFinished,
                                                 writer = assetWriter_, stopReading = stopReading()] {
            while (!*hasFinished) {
                if (writer->status() == TransferStatus::failed ||
                    writer->status() == TransferStatus::cancelled) {
                    stopReading();
                    return finish();
                }
                if (!input->isReadyForMoreMediaData()) return;
                const auto sample = reader->copyNextSampleBuffer();
                if (!sample) {
                    // Half a movie is of no use: the other track needn't be read to its end.
                    if (reader->status() == TransferStatus::failed) stopReading();
                    return finish();
                }
                // A refusal needs no answer here: after a failure or a cancellation it shows in the writer's
                // status, else the one sample doesn't fit (its time doesn't grow, say), and the movie goes on
                // without it.
                (void)input->append(*sample);
                if (onAppended) onAppended(*sample);
            }
        });
    });
}

/// Cancels what hasn't ended by itself; keeps the readers alive until then.
std::function<void()> ExportEngine::stopReading() const {
    return [video = assetReader_, audio = audioReader_] {
        video->cancelReading();
        if (audio) audio->cancelReading();
    };
}

void ExportEngine::startProgressTimer(const std::shared_ptr<ProgressTracker>& tracker, double durationSeconds,
                                      const std::function<void(double)>& onProgress) {
    progressTimer_.disconnect();
    connect(&progressTimer_, &QTimer::timeout, this, [this, tracker, durationSeconds, onProgress] {
        const double share =
            durationSeconds > 0 ? std::clamp(tracker->seconds() / durationSeconds, 0.0, 1.0) : 0;
        setProgress(share);
        if (onProgress) onProgress(share);
    });
    progressTimer_.start();
}

/// Throws a reader's error, else the writer's, if any has failed, and `cancelled` if any was cancelled. What
/// has happened counts, not what was asked for: a cancellation that comes after the movie is in its place
/// takes nothing back.
void ExportEngine::throwUnlessComplete() const {
    const auto throwIfFailed = [](const auto& part) {
        if (!part || part->status() != TransferStatus::failed) return;
        if (part->error()) std::rethrow_exception(part->error());
        throw ExportError::unknown();
    };
    throwIfFailed(assetReader_);
    throwIfFailed(audioReader_);
    throwIfFailed(assetWriter_);
    const auto wasCancelled = [](const auto& part) {
        return part && part->status() == TransferStatus::cancelled;
    };
    if (wasCancelled(assetReader_) || wasCancelled(audioReader_) || wasCancelled(assetWriter_))
        throw ExportError::cancelled();
}

void ExportEngine::cleanUp() {
    progressTimer_.stop();
    if (assetWriter_ && assetWriter_->status() != TransferStatus::completed) assetWriter_->cancelWriting();
    if (assetReader_) assetReader_->cancelReading();
    if (audioReader_) audioReader_->cancelReading();
    assetReader_.reset();
    audioReader_.reset();
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
