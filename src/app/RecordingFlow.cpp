#include "app/RecordingFlow.h"

#include <QCoro/QCoroTimer>
#include <QPointer>
#include <cmath>
#include <exception>
#include <utility>

#include "foundation/Log.h"
#include "media/MediaAsset.h"

namespace varnelle {
namespace {

constexpr std::chrono::milliseconds kTickInterval{100};
constexpr std::chrono::milliseconds kPauseBeforeModeChange{50};
constexpr std::chrono::milliseconds kFadeDuration{1000};
constexpr int kTickerTimescale = 600;

std::string reasonOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        return error.what();
    }
}

}  // namespace

RecordingFlow::RecordingFlow(AppWindows& windows, DesktopPlatform& platform, CameraFactory makeCamera,
                             URL temporaryDirectory, Hooks hooks)
    : windows_(windows),
      platform_(platform),
      makeCamera_(std::move(makeCamera)),
      temporaryDirectory_(std::move(temporaryDirectory)),
      hooks_(std::move(hooks)) {
    durationTicker_.setInterval(kTickInterval);
    connect(&durationTicker_, &QTimer::timeout, this, [this] {
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - liveSince_;
        set(_recordingDuration, elapsed.count(), &RecordingFlow::recordingDurationChanged);
    });
}

RecordingFlow::~RecordingFlow() {
    if (_recordingCoordinator) _recordingCoordinator->settle();
}

template <typename Value>
void RecordingFlow::set(Value& field, Value value, void (RecordingFlow::*changed)()) {
    if (field == value) return;
    field = std::move(value);
    emit(this->*changed)();
}

QCoro::Task<> RecordingFlow::startRecording(RecordingConfiguration configuration,
                                            std::shared_ptr<CameraFeed> camera, OverlayConfiguration look) {
    if (_recordingState != RecordingState::idle) co_return;
    const QPointer<RecordingFlow> self = this;
    set(_recordingState, RecordingState::preparing, &RecordingFlow::recordingStateChanged);
    set(_recordingDuration, 0.0, &RecordingFlow::recordingDurationChanged);
    // Shared with this coroutine, as the owner may be gone before the coordinator's tasks have ended.
    _recordingCoordinator =
        std::make_shared<RecordingCoordinator>(platform_, temporaryDirectory_, makeCamera_);
    const std::shared_ptr<RecordingCoordinator> coordinator = _recordingCoordinator;
    coordinator->onNeedsStop = [self] {
        if (self) self->stopRecording();
    };
    std::exception_ptr failure;
    try {
        const QCoro::Task<> preparing =
            coordinator->prepareRecording(std::move(configuration), std::move(camera));
        co_await preparing;
        if (!self) co_return;
        coordinator->currentOverlayConfiguration = std::move(look);
        const QCoro::Task<> starting = coordinator->startRecording();
        co_await starting;
    } catch (...) {
        failure = std::current_exception();
    }
    if (!self) co_return;
    if (failure) {
        leaveRecordingUI();
        set(_recordingState, RecordingState::idle, &RecordingFlow::recordingStateChanged);
        set(_isRecordingMenuBarVisible, false, &RecordingFlow::isRecordingMenuBarVisibleChanged);
        _recordingCoordinator = nullptr;
        hooks_.onFailed();
        logger(LogCategory::app).error("Recording failed: {}", reasonOf(failure));
        co_return;
    }
    startTicker();
    windows_.hideDockBar();
    windows_.closeSelectionPanels();
    windows_.hideMainWindow();
    windows_.becomeAccessory();
    set(_recordingState, RecordingState::recording, &RecordingFlow::recordingStateChanged);
    set(_isRecordingMenuBarVisible, true, &RecordingFlow::isRecordingMenuBarVisibleChanged);
    co_await QCoro::sleepFor(kPauseBeforeModeChange);
    if (!self || _recordingState != RecordingState::recording) co_return;
    hooks_.onLive();
    windows_.showRecordingPreview();
}

QCoro::Task<> RecordingFlow::stopRecording() {
    if (_recordingState != RecordingState::recording) co_return;
    const QPointer<RecordingFlow> self = this;
    const std::shared_ptr<RecordingCoordinator> coordinator = _recordingCoordinator;
    set(_recordingState, RecordingState::stopping, &RecordingFlow::recordingStateChanged);
    durationTicker_.stop();
    set(_isRecordingMenuBarVisible, false, &RecordingFlow::isRecordingMenuBarVisibleChanged);
    std::optional<RecordingSession> session;
    std::exception_ptr failure;
    try {
        QCoro::Task<RecordingSession> stopping = coordinator->stopRecording();
        session = co_await std::move(stopping);
    } catch (...) {
        failure = std::current_exception();
    }
    if (!self) co_return;
    const Completion<void> fading = fadeOutRecordingUI();
    if (failure) {
        co_await fading;
        if (!self) co_return;
        leaveRecordingUI();
        hooks_.onFailed();
        logger(LogCategory::app).error("Stop recording failed: {}", reasonOf(failure));
    } else {
        QCoro::Task<CMTime> measuring = measuredDuration(session->screenRecordingURL);
        const CMTime duration = co_await std::move(measuring);
        if (!self) co_return;
        leaveRecordingUI();
        hooks_.onFinished({*session, duration});
        co_await fading;
        if (!self) co_return;
    }
    set(_recordingState, RecordingState::idle, &RecordingFlow::recordingStateChanged);
    _recordingCoordinator = nullptr;
}

void RecordingFlow::startTicker() {
    liveSince_ = std::chrono::steady_clock::now();
    set(_recordingDuration, 0.0, &RecordingFlow::recordingDurationChanged);
    durationTicker_.start();
}

/// Back to a program with windows, whatever it was before.
void RecordingFlow::leaveRecordingUI() {
    windows_.hideRecordingPreview();
    windows_.becomeRegular();
    windows_.activate();
}

Completion<void> RecordingFlow::fadeOutRecordingUI() {
    return completionOf(
        [this](auto done) { windows_.fadeOutRecordingUI(kFadeDuration, [done] { done(nullptr); }); });
}

/// The movie's own duration; if it can't be told, that of the clock that was shown.
QCoro::Task<CMTime> RecordingFlow::measuredDuration(URL movie) {
    const auto read = [movie] { return MediaAsset(movie).duration(); };
    const Completion<CMTime> reading = resultOn(queue_, read);
    const double shown = std::isfinite(_recordingDuration) && _recordingDuration > 0 ? _recordingDuration : 0;
    try {
        const CMTime duration = co_await reading;
        if (duration.isNumeric() && duration.seconds() > 0) co_return duration;
    } catch (const std::exception& error) {
        logger(LogCategory::app).warn("The recording's duration can't be read: {}", error.what());
    }
    co_return CMTime::make(std::llround(shown * kTickerTimescale), kTickerTimescale);
}

}  // namespace varnelle
