#include "recording/RecordingCoordinator.h"

#include <QCoreApplication>
#include <QCoro/QCoroTimer>
#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <variant>

#include "foundation/Log.h"
#include "model/ProjectLifecycle.h"
#include "platform/PlatformError.h"
#include "recording/RecordingError.h"
#include "recording/SessionRecovery.h"
#include "tasks/Completion.h"

namespace varnelle {
namespace {

constexpr std::chrono::seconds kBarrierTimeout{3};
constexpr std::chrono::milliseconds kBarrierPollInterval{20};
constexpr int kCursorSamplesPerSecond = 120;
constexpr std::int64_t kSystemAudioBitRate = 192'000;
constexpr std::int64_t kMicrophoneBitRate = 128'000;
constexpr PixelSize kFallbackCameraSize{1280, 720};

constexpr const char* kStoppedBeforeStart =
    "Recording stopped before synchronized media start was established.";

PixelSize cameraSize(const CameraFeed& camera) {
    const PixelSize size = camera.activeFormatDimensions().value_or(PixelSize{});
    if (size.width < 1 || size.height < 1) return kFallbackCameraSize;
    return evenPixelSize({static_cast<double>(size.width), static_cast<double>(size.height)}, 1);
}

}  // namespace

template <typename Block>
auto RecordingCoordinator::withTimeline(Block block) {
    return processingQueue_->sync([this, &block] { return block(*timeline_); });
}

RecordingCoordinator::RecordingCoordinator(DesktopPlatform& platform, URL temporaryDirectory,
                                           CameraFactory makeCamera, std::function<CMTime()> hostClock)
    : currentOverlayConfiguration(defaultOverlayConfiguration(CameraBubbleLayout{})),
      platform_(platform),
      temporaryDirectory_(std::move(temporaryDirectory)),
      makeCamera_(std::move(makeCamera)),
      hostClock_(std::move(hostClock)),
      timeline_(std::make_shared<SampleTimeline>()),
      processingQueue_(std::make_shared<SerialQueue>("com.varnelle.recording.pipeline")) {}

RecordingCoordinator::~RecordingCoordinator() {
    releaseCamera();
    setupQueue_.sync([this] { cleanUp(); });
}

void RecordingCoordinator::settle() {
    setupQueue_.sync([] {});
}

QCoro::Task<> RecordingCoordinator::perform(std::function<void()> block) {
    const auto failure = std::make_shared<std::exception_ptr>();
    const Completion<void> ended = completionOf([&](auto done) {
        setupQueue_.async([block = std::move(block), failure, done]() mutable {
            try {
                block();
            } catch (...) {
                *failure = std::current_exception();
            }
            block = nullptr;  // nothing of it is left when its end is told
            done(nullptr);
        });
    });
    co_await ended;
    if (*failure) std::rethrow_exception(std::exchange(*failure, nullptr));
}

QCoro::Task<> RecordingCoordinator::prepareRecording(RecordingConfiguration configuration,
                                                     std::shared_ptr<CameraFeed> reusableCamera) {
    configuration_ = std::move(configuration);
    if (configuration_->captureCamera) cameraManager_ = std::move(reusableCamera);
    const auto prepare = [this] {
        makeSessionDirectory();
        try {
            prepareStreams();
        } catch (...) {
            cancelWriters();
            removeSessionDirectoryIfEmpty();
            cleanUp();
            throw;
        }
    };
    QCoro::Task<> preparing = perform(prepare);
    co_await std::move(preparing);
    if (cameraManager_) cameraManager_->setOnCameraFrame(forward(StreamKind::cameraVideo));
    isPrepared_ = true;
}

/// Another recording may have begun in the same second. A directory that can't be made shows as the writer's
/// failure, which names the file. What is recorded is for its user's eyes.
void RecordingCoordinator::makeSessionDirectory() {
    const URL sessions = sessionsDirectory(temporaryDirectory_);
    const std::string name = sessionDirectoryName(Date::now());
    std::error_code error;
    std::filesystem::create_directories(sessions.path(), error);
    recordingSessionDirectory_ = sessions.appending(name);
    for (int number = 2;
         !std::filesystem::create_directory(recordingSessionDirectory_->path(), error) && !error; ++number) {
        recordingSessionDirectory_ = sessions.appending(name + "-" + std::to_string(number));
    }
    std::filesystem::permissions(recordingSessionDirectory_->path(), std::filesystem::perms::owner_all,
                                 error);
    try {
        sessionLock_ = DirectoryLock::shared(*recordingSessionDirectory_);
    } catch (const FileError& lockError) {
        logger(LogCategory::recording).warn("The session can't be locked: {}", lockError.what());
    }
}

void RecordingCoordinator::prepareStreams() {
    const bool usesMicrophone =
        configuration_->captureMicrophone && !platform_.captureDevices().microphones().empty();
    findWindow();
    makeEngine(usesMicrophone);
    makeCamera();
    hasCamera_ = cameraManager_ != nullptr;
    makeRecorders(usesMicrophone);
    makeSession(usesMicrophone);
    startRequirements_ = {true, cameraRecorder_ != nullptr, configuration_->captureSystemAudio,
                          usesMicrophone};
    withTimeline([](SampleTimeline& timeline) { timeline.reset(PipelinePhase::idle); });
    connectStreams();
}

/// A window may have been moved, resized or closed since it was chosen.
void RecordingCoordinator::findWindow() {
    auto* source = std::get_if<RecordingConfiguration::WindowSource>(&configuration_->source);
    if (source == nullptr) return;
    const std::vector<ShareableWindow> windows = platform_.shareableContent({}).windows;
    const auto now = std::find_if(windows.begin(), windows.end(), [source](const ShareableWindow& window) {
        return window.windowID == source->window.windowID;
    });
    if (now == windows.end()) {
        throw PlatformError(PlatformError::Code::requestFailed,
                            "The window “" + source->window.title + "” was closed.");
    }
    source->window = *now;
}

QCoro::Task<> RecordingCoordinator::startRecording() {
    if (!isPrepared_) throw RecordingError::notRecording();
    std::exception_ptr failure;
    try {
        withTimeline([](SampleTimeline& timeline) { timeline.reset(PipelinePhase::warmingUp); });
        if (cameraManager_ && !cameraManager_->isRunning()) cameraManager_->start();
        QCoro::Task<> starting = captureEngine_->startCapture();
        co_await std::move(starting);
        QCoro::Task<> waiting = passStartBarrier();
        co_await std::move(waiting);
        const auto goOn = [this] {
            goLive();
            leaveNote();
            watchStorage();
        };
        QCoro::Task<> goingLive = perform(goOn);
        co_await std::move(goingLive);
    } catch (...) {
        failure = std::current_exception();
    }
    if (!failure) co_return;
    if (!isStopping_) {
        QCoro::Task<> cleaning = failedStartCleanup();
        co_await std::move(cleaning);
    }
    std::rethrow_exception(failure);
}

QCoro::Task<RecordingSession> RecordingCoordinator::stopRecording() {
    if (!isPrepared_ || isStopping_) throw RecordingError::notRecording();
    isStopping_ = true;
    CMTime stopTime;
    const auto end = [this, &stopTime] {
        stopTime = withTimeline([this](SampleTimeline& timeline) {
            timeline.beginStopping();
            return hostClock_();
        });
        storageWatch_ = nullptr;
    };
    QCoro::Task<> ending = perform(end);
    co_await std::move(ending);
    QCoro::Task<> stopping = stopStreams("Capture engine stop threw error (ignoring): ");
    co_await std::move(stopping);
    releaseCamera();

    std::optional<CMTime> origin;
    const auto save = [this, &origin] {
        origin = withTimeline(
            [](const SampleTimeline& timeline) { return timeline.state().timelineOriginHostTime; });
        if (origin) {
            saveCursor();
            dropSilentCamera();
        } else {
            cancelWriters();
            removeSessionDirectoryIfEmpty();
        }
    };
    QCoro::Task<> saving = perform(save);
    co_await std::move(saving);
    std::exception_ptr failure;
    try {
        if (!origin) throw RecordingError::writerFailed(kStoppedBeforeStart);
        QCoro::Task<> finishing = finishWriters(stopTime - *origin);
        co_await std::move(finishing);
    } catch (...) {
        failure = std::current_exception();
    }
    const RecordingSession session = *recordingSession_;
    const auto clean = [this, &failure] {
        std::optional<DirectoryLock> lock = std::move(sessionLock_);
        cleanUp();
        if (!failure) sessionLock_ = std::move(lock);
    };
    QCoro::Task<> cleaning = perform(clean);
    co_await std::move(cleaning);
    if (failure) std::rethrow_exception(failure);
    co_return session;
}

RecordingStatistics RecordingCoordinator::statistics() {
    return withTimeline([](const SampleTimeline& timeline) { return timeline.statistics(); });
}

void RecordingCoordinator::makeEngine(bool usesMicrophone) {
    auto engine = std::make_unique<CaptureEngine>(platform_);
    // Without a list of programs nothing is left out of the picture, which is no reason not to record.
    std::vector<ShareableApplication> excludedApplications;
    try {
        const ShareableContent content = platform_.shareableContent({true, true});
        displays_ = content.displays;
        const auto& applications = content.applications;
        const auto own = std::find_if(applications.begin(), applications.end(), [](const auto& application) {
            return application.processID == QCoreApplication::applicationPid();
        });
        if (own != applications.end()) excludedApplications.push_back(*own);
    } catch (const Error&) {
        excludedApplications.clear();
    }
    CaptureStreamOptions options;
    options.frameRate = configuration_->frameRate;
    options.queueDepth = configuration_->streamQueueDepth;
    options.pixelSize = capturePixelSize(configuration_->source);
    options.capturesSystemAudio = configuration_->captureSystemAudio;
    options.capturesMicrophone = usesMicrophone;
    options.preferredMicrophoneID = configuration_->preferredMicrophoneID;
    engine->configureStream(configuration_->source, std::move(excludedApplications), options);
    captureEngine_ = std::move(engine);
}

void RecordingCoordinator::makeCamera() {
    if (!configuration_->captureCamera || cameraManager_) return;
    try {
        if (!makeCamera_) throw Error("There is no camera.");
        cameraManager_ = makeCamera_(configuration_->preferredCameraID);
    } catch (const Error& error) {
        logger(LogCategory::recording).warn("Camera unavailable, recording without webcam: {}", error.what());
    }
}

void RecordingCoordinator::makeRecorders(bool usesMicrophone) {
    const int frameRate = configuration_->frameRate;
    const PixelSize screenSize = capturePixelSize(configuration_->source);
    std::optional<AudioSettings> systemAudio;
    std::optional<AudioSettings> microphone;
    if (configuration_->captureSystemAudio) systemAudio = recordingAudioSettings(2, kSystemAudioBitRate);
    if (usesMicrophone) microphone = recordingAudioSettings(1, kMicrophoneBitRate);
    screenRecorder_ = std::make_unique<MovieTrackRecorder>(
        recordingSessionDirectory_->appending("screen.mov"),
        recordingVideoSettings(frameRate, screenBitRate(screenSize), screenSize.width, screenSize.height),
        systemAudio, microphone, MediaDataPace::realTime);
    if (cameraManager_) {
        const PixelSize size = cameraSize(*cameraManager_);
        cameraRecorder_ = std::make_unique<MovieTrackRecorder>(
            recordingSessionDirectory_->appending("camera.mov"),
            recordingVideoSettings(frameRate, cameraBitRate(size), size.width, size.height), std::nullopt,
            std::nullopt, MediaDataPace::realTime);
    }
    cursorRecorder_ = std::make_unique<CursorRecorder>(
        recordingSessionDirectory_->appending("cursor.json"), kCursorSamplesPerSecond,
        captureRegion(configuration_->source),
        CursorInputs{platform_.makePointerInput(), platform_.makeInputMonitors(), platform_.makeFocusInput()},
        hostClock_);
}

void RecordingCoordinator::makeSession(bool usesMicrophone) {
    RecordingSession session;
    session.id = UUID::random();
    session.directoryURL = *recordingSessionDirectory_;
    session.screenRecordingURL = screenRecorder_->outputURL();
    if (cameraRecorder_) session.cameraRecordingURL = cameraRecorder_->outputURL();
    session.cursorRecordingURL = recordingSessionDirectory_->appending("cursor.json");
    if (configuration_->captureSystemAudio)
        session.availableAudioSources.push_back(RecordedAudioSource::system);
    if (usesMicrophone) session.availableAudioSources.push_back(RecordedAudioSource::microphone);
    session.createdAt = Date::now();
    session.frameRate = configuration_->frameRate;
    session.renderSize = renderSize(configuration_->source, displays_);
    recordingSession_ = std::move(session);
}

void RecordingCoordinator::connectStreams() {
    withTimeline([this](SampleTimeline& timeline) {
        timeline.setInput(StreamKind::screenVideo, screenRecorder_->videoInput());
        timeline.setInput(StreamKind::cameraVideo, cameraRecorder_ ? cameraRecorder_->videoInput() : nullptr);
        timeline.setInput(StreamKind::systemAudio, screenRecorder_->systemAudioInput());
        timeline.setInput(StreamKind::microphoneAudio, screenRecorder_->microphoneAudioInput());
    });
    captureEngine_->onVideoFrame = forward(StreamKind::screenVideo);
    captureEngine_->onSystemAudio = forward(StreamKind::systemAudio);
    captureEngine_->onMicAudio = forward(StreamKind::microphoneAudio);
}

std::function<void(const SampleBuffer&)> RecordingCoordinator::forward(StreamKind kind) {
    return [queue = std::weak_ptr(processingQueue_), timeline = std::weak_ptr(timeline_),
            kind](const SampleBuffer& sample) {
        const auto target = queue.lock();
        if (target == nullptr) return;
        target->async([timeline, kind, sample] {
            if (const auto alive = timeline.lock()) alive->handle(sample, kind);
        });
    };
}

QCoro::Task<> RecordingCoordinator::passStartBarrier() {
    const auto deadline = std::chrono::steady_clock::now() + kBarrierTimeout;
    const StreamRequirements requirements = startRequirements_;
    while (std::chrono::steady_clock::now() <= deadline) {
        const bool isReady = withTimeline(
            [&](const SampleTimeline& timeline) { return timeline.haveAllDelivered(requirements); });
        if (isStopping_) throw RecordingError::writerFailed(kStoppedBeforeStart);
        if (isReady) co_return;
        co_await QCoro::sleepFor(kBarrierPollInterval);
    }
    if (isStopping_) throw RecordingError::writerFailed(kStoppedBeforeStart);
    const auto [status, hasScreen] = withTimeline([&](const SampleTimeline& timeline) {
        return std::pair(timeline.statusText(requirements), timeline.hasDelivered(StreamKind::screenVideo));
    });
    if (!hasScreen) throw RecordingError::startBarrierTimeout(status);
    logger(LogCategory::recording)
        .warn("Start barrier timed out for some streams: {}. Proceeding anyway with screen video.", status);
}

void RecordingCoordinator::goLive() {
    const CMTime origin = hostClock_();
    screenRecorder_->start();
    if (cameraRecorder_) cameraRecorder_->start();
    cursorRecorder_->start(origin);
    withTimeline([&](SampleTimeline& timeline) { timeline.goLive(origin, startRequirements_); });
}

QCoro::Task<> RecordingCoordinator::failedStartCleanup() {
    isStopping_ = true;  // a stop has nothing to stop any more, and would take away what is being cleaned up
    withTimeline([](SampleTimeline& timeline) { timeline.beginStopping(); });
    QCoro::Task<> stopping = stopStreams("Failed start cleanup stopCapture error: ");
    co_await std::move(stopping);
    releaseCamera();
    const auto clean = [this] {
        cancelWriters();
        removeSessionDirectoryIfEmpty();
        cleanUp();
    };
    QCoro::Task<> cleaning = perform(clean);
    co_await std::move(cleaning);
}

void RecordingCoordinator::removeSessionDirectoryIfEmpty() {
    std::error_code ignored;
    if (recordingSessionDirectory_) std::filesystem::remove(recordingSessionDirectory_->path(), ignored);
}

/// Without it the session can be recovered, too, but with guesses.
void RecordingCoordinator::leaveNote() {
    try {
        writeSessionNote(*recordingSession_);
    } catch (const FileError& error) {
        logger(LogCategory::recording).warn("{}", error.what());
    }
}

void RecordingCoordinator::watchStorage() {
    const auto tell = [this, alive = std::weak_ptr(timeline_)] {
        const auto onMainThread = [this, alive] {
            if (!alive.expired() && !isStopping_ && onNeedsStop) onNeedsStop();
        };
        QMetaObject::invokeMethod(QCoreApplication::instance(), onMainThread, Qt::QueuedConnection);
    };
    // The recorders outlive the watch.
    const auto haveFailed = [screen = screenRecorder_.get(), camera = cameraRecorder_.get()] {
        return screen->writer().status() == TransferStatus::failed ||
               (camera != nullptr && camera->writer().status() == TransferStatus::failed);
    };
    storageWatch_ =
        std::make_unique<StorageWatch>(*recordingSessionDirectory_, storageReader, haveFailed, tell);
}

QCoro::Task<> RecordingCoordinator::stopStreams(std::string captureFailurePrefix) {
    try {
        QCoro::Task<> stopping = captureEngine_->stopCapture();
        co_await std::move(stopping);
    } catch (const std::exception& error) {
        logger(LogCategory::recording).warn("{}{}", captureFailurePrefix, error.what());
    }
    if (cameraManager_ && cameraManager_->isRunning()) cameraManager_->stop();
    // What is on its way is dropped, and the writers' inputs are nobody's after this.
    processingQueue_->sync([] {});
}

void RecordingCoordinator::cancelWriters() {
    if (screenRecorder_) screenRecorder_->writer().cancelWriting();
    if (cameraRecorder_) cameraRecorder_->writer().cancelWriting();
    if (cursorRecorder_) cursorRecorder_->stopWithoutSaving();
}

void RecordingCoordinator::saveCursor() {
    try {
        cursorRecorder_->stopAndSave();
    } catch (const std::exception& error) {
        logger(LogCategory::recording).error("Cursor metadata save failed: {}", error.what());
    }
}

void RecordingCoordinator::dropSilentCamera() {
    if (!cameraRecorder_ || statistics()[StreamKind::cameraVideo].recordedFrames > 0) return;
    logger(LogCategory::recording)
        .warn("The camera delivered no pictures. The recording has no camera movie.");
    cameraRecorder_->writer().cancelWriting();
    cameraRecorder_ = nullptr;
    recordingSession_->cameraRecordingURL = std::nullopt;
}

QCoro::Task<> RecordingCoordinator::finishWriters(CMTime endTime) {
    std::exception_ptr failure;
    try {
        co_await screenRecorder_->finish(endTime);
    } catch (...) {
        failure = std::current_exception();
    }
    try {
        if (cameraRecorder_) co_await cameraRecorder_->finish(endTime);
    } catch (...) {
        if (!failure) failure = std::current_exception();
    }
    if (failure) std::rethrow_exception(failure);
}

void RecordingCoordinator::releaseCamera() {
    if (cameraManager_) cameraManager_->setOnCameraFrame({});
}

void RecordingCoordinator::cleanUp() {
    storageWatch_ = nullptr;
    captureEngine_ = nullptr;
    cameraManager_ = nullptr;
    withTimeline([](SampleTimeline& timeline) {
        timeline.reset(PipelinePhase::idle);
        for (const StreamKind kind : kStreamKinds) timeline.setInput(kind, nullptr);
    });
    screenRecorder_ = nullptr;
    cameraRecorder_ = nullptr;
    if (cursorRecorder_) cursorRecorder_->stopWithoutSaving();
    cursorRecorder_ = nullptr;
    recordingSessionDirectory_ = std::nullopt;
    sessionLock_ = std::nullopt;
    recordingSession_ = std::nullopt;
    configuration_ = std::nullopt;
}

}  // namespace varnelle
