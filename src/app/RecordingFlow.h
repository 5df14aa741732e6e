#pragma once

#include <QCoro/QCoroTask>
#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "app/AppMode.h"
#include "app/AppWindows.h"
#include "foundation/Queue.h"
#include "foundation/URL.h"
#include "platform/DesktopPlatform.h"
#include "recording/RecordingCoordinator.h"
#include "tasks/Completion.h"

namespace varnelle {

/// A recording that has ended: what it produced, and how long it is.
struct FinishedRecording {
    RecordingSession session;
    CMTime duration;
};

/// The way of a recording from the user's start to its end, with what is shown meanwhile. Main thread.
class RecordingFlow final : public QObject {
    Q_OBJECT

public:
    /// What the flow asks of its owner.
    struct Hooks {
        std::function<void()> onLive;    ///< the recording runs and the desktop is clear of everything else
        std::function<void()> onFailed;  ///< a start or stop has failed; the reason has been logged
        std::function<void(FinishedRecording)> onFinished;
    };

    RecordingFlow(AppWindows& windows, DesktopPlatform& platform, CameraFactory makeCamera,
                  URL temporaryDirectory, Hooks hooks);
    ~RecordingFlow() override;

    [[nodiscard]] RecordingState recordingState() const { return _recordingState; }
    /// Seconds since the recording went live, ten times a second.
    [[nodiscard]] double recordingDuration() const { return _recordingDuration; }
    [[nodiscard]] bool isRecordingMenuBarVisible() const { return _isRecordingMenuBarVisible; }
    /// True if what runs records a camera, too.
    [[nodiscard]] bool hasCamera() const {
        return _recordingCoordinator && _recordingCoordinator->hasCamera();
    }

    /// Starts a recording; the task ends when it runs or has failed. `camera` is one that runs already, or
    /// null. Nothing happens unless the state is `idle`.
    QCoro::Task<> startRecording(RecordingConfiguration configuration, std::shared_ptr<CameraFeed> camera,
                                 OverlayConfiguration look);
    /// Ends it; the task ends when all has faded away. Nothing happens unless it runs.
    QCoro::Task<> stopRecording();

signals:
    void recordingStateChanged();
    void recordingDurationChanged();
    void isRecordingMenuBarVisibleChanged();

private:
    template <typename Value>
    void set(Value& field, Value value, void (RecordingFlow::*changed)());
    void startTicker();
    void leaveRecordingUI();
    [[nodiscard]] Completion<void> fadeOutRecordingUI();
    QCoro::Task<CMTime> measuredDuration(URL movie);

    AppWindows& windows_;
    DesktopPlatform& platform_;
    const CameraFactory makeCamera_;
    const URL temporaryDirectory_;
    const Hooks hooks_;

    RecordingState _recordingState = RecordingState::idle;
    double _recordingDuration = 0;
    bool _isRecordingMenuBarVisible = false;
    std::shared_ptr<RecordingCoordinator> _recordingCoordinator;
    std::chrono::steady_clock::time_point liveSince_;
    QTimer durationTicker_;
    SerialQueue queue_{"com.varnelle.recording.measure"};
};

}  // namespace varnelle
