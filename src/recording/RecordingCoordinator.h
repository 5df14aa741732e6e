#pragma once

#include <QCoro/QCoroTask>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/DirectoryLock.h"
#include "foundation/HostClock.h"
#include "foundation/Queue.h"
#include "foundation/URL.h"
#include "model/OverlayModels.h"
#include "model/RecordingSession.h"
#include "platform/DesktopPlatform.h"
#include "recording/CameraFeed.h"
#include "recording/CaptureEngine.h"
#include "recording/CursorRecorder.h"
#include "recording/MovieTrackRecorder.h"
#include "recording/RecordingConfiguration.h"
#include "recording/RuntimeState.h"
#include "recording/SampleTimeline.h"
#include "recording/StorageWatch.h"

namespace varnelle {

/// Conducts one recording: brings the streams to one time origin, has every sample written at its host time
/// minus that origin, and hands back the session with its files. One object for one recording.
///
/// The operations are for the Qt main thread, one after the other (`stopRecording` may overtake a
/// `startRecording` that still waits for its streams, which then fails). They never hold it up: whatever
/// waits for the desktop, the disk, an encoder or a thread runs on a queue of the recording's own. The object
/// must outlive the tasks that it has returned.
class RecordingCoordinator {
public:
    /// `temporaryDirectory` is where session directories are made. `makeCamera` may be empty if no camera can
    /// be had. `hostClock` is the clock that all streams are timed with.
    RecordingCoordinator(DesktopPlatform& platform, URL temporaryDirectory, CameraFactory makeCamera = {},
                         std::function<CMTime()> hostClock = hostTimeNow);
    ~RecordingCoordinator();
    RecordingCoordinator(const RecordingCoordinator&) = delete;
    RecordingCoordinator& operator=(const RecordingCoordinator&) = delete;

    /// Makes the session directory, the streams and the writers. `reusableCamera` is a camera that runs
    /// already, or null. Throws what the set-up of the stream or of a writer throws; a missing camera is only
    /// logged.
    QCoro::Task<> prepareRecording(RecordingConfiguration configuration,
                                   std::shared_ptr<CameraFeed> reusableCamera = nullptr);
    /// Starts the streams, waits for at most three seconds until all have delivered, and goes live.
    /// Everything has been cleaned up when it throws: `RecordingError` or the platform's error.
    QCoro::Task<> startRecording();
    /// Ends the streams and completes the files. Throws `RecordingError` (`notRecording`, or `writerFailed`
    /// before the recording went live) or the writer's error; what a failed writer had written stays on the
    /// disk. The session stays locked as long as this object lives, so that nobody takes it for a left one
    /// before its project holds it.
    QCoro::Task<RecordingSession> stopRecording();

    /// Called once, on the main thread, if a recording that is live has to be stopped now to be kept: the
    /// disk has room for less than two more minutes of it, or a movie can't be written any more. Set before
    /// the start.
    std::function<void()> onNeedsStop;
    /// How the room on the session's disk is read.
    StorageWatch::Reader storageReader = StorageWatch::readStorage;

    /// The look that the recording's project starts with. The recording itself doesn't read it.
    OverlayConfiguration currentOverlayConfiguration;

    /// Once it is prepared, whether it has a camera; main thread.
    [[nodiscard]] bool hasCamera() const { return hasCamera_; }
    /// How many samples each stream has recorded and lost so far; still there after the stop.
    [[nodiscard]] RecordingStatistics statistics();

    /// Waits until nothing runs any more that an unfinished task has asked for. For a program that ends: its
    /// desktop must not go before.
    void settle();

private:
    /// Runs a block on the set-up queue; once it has ended, what it has written is this thread's to read.
    /// Throws what the block throws.
    QCoro::Task<> perform(std::function<void()> block);

    // On the set-up queue.
    void makeSessionDirectory();
    void prepareStreams();
    void findWindow();
    void makeEngine(bool usesMicrophone);
    void makeCamera();
    void makeRecorders(bool usesMicrophone);
    void makeSession(bool usesMicrophone);
    void connectStreams();
    void goLive();
    void leaveNote();
    void watchStorage();
    void removeSessionDirectoryIfEmpty();
    void cancelWriters();
    void saveCursor();
    /// A movie without pictures can't be finished, and is no reason to lose the recording.
    void dropSilentCamera();
    void cleanUp();

    // On the main thread.
    [[nodiscard]] std::function<void(const SampleBuffer&)> forward(StreamKind kind);
    QCoro::Task<> passStartBarrier();
    QCoro::Task<> failedStartCleanup();
    QCoro::Task<> stopStreams(std::string captureFailurePrefix);
    /// Finishes both movies even if one fails, so that what the other holds is kept; throws the first
    /// failure.
    QCoro::Task<> finishWriters(CMTime endTime);
    void releaseCamera();

    /// Runs a block with the timeline on the processing queue and waits for it.
    template <typename Block>
    auto withTimeline(Block block);

    DesktopPlatform& platform_;
    const URL temporaryDirectory_;
    const CameraFactory makeCamera_;
    const std::function<CMTime()> hostClock_;

    // Main thread only.
    bool isPrepared_ = false;
    bool isStopping_ = false;  ///< a stop has taken over, and cleans up after a start that still runs

    // The set-up queue's while `perform` waits for it, the main thread's otherwise.
    std::optional<RecordingConfiguration> configuration_;
    std::vector<ShareableDisplay> displays_;  ///< as they were at the preparation
    std::optional<URL> recordingSessionDirectory_;
    /// Says that the session is somebody's.
    std::optional<DirectoryLock> sessionLock_;
    std::optional<RecordingSession> recordingSession_;
    StreamRequirements startRequirements_;
    std::unique_ptr<MovieTrackRecorder> screenRecorder_;
    std::unique_ptr<MovieTrackRecorder> cameraRecorder_;
    std::unique_ptr<CursorRecorder> cursorRecorder_;
    std::shared_ptr<CameraFeed> cameraManager_;
    bool hasCamera_ = false;
    /// Touched on the processing queue only. Samples on their way hold it weakly.
    std::shared_ptr<SampleTimeline> timeline_;
    std::shared_ptr<SerialQueue> processingQueue_;
    std::unique_ptr<StorageWatch> storageWatch_;
    // It forwards to the processing queue until it is gone.
    std::unique_ptr<CaptureEngine> captureEngine_;
    // Last: its blocks use all of the above.
    SerialQueue setupQueue_{"com.varnelle.recording.setup"};
};

}  // namespace varnelle
