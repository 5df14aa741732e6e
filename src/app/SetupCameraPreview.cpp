#include "app/SetupCameraPreview.h"

#include <chrono>
#include <utility>

#include "foundation/Error.h"
#include "foundation/Log.h"
#include "tasks/Completion.h"

namespace varnelle {
namespace {

constexpr std::chrono::milliseconds kRetryDelay{500};

void stop(const std::shared_ptr<CameraFeed>& camera) {
    if (camera && camera->isRunning()) camera->stop();
}

}  // namespace

SetupCameraPreview::SetupCameraPreview(CameraFactory makeCamera, WantedCamera wantedCamera)
    : makeCamera_(std::move(makeCamera)), wantedCamera_(std::move(wantedCamera)) {
    connect(&settingUp_, &QFutureWatcherBase::finished, this, &SetupCameraPreview::attemptEnded);
    retryDelay_.setSingleShot(true);
    retryDelay_.setInterval(kRetryDelay);
    retryDelay_.callOnTimeout(this, &SetupCameraPreview::retry);
}

SetupCameraPreview::~SetupCameraPreview() {
    stop(setupCameraPreviewManager_);
}

void SetupCameraPreview::updateSetupCameraPreview() {
    const std::optional<std::string> wanted = wantedCamera_();
    if (!wanted) {
        cancel();
        return;
    }
    if (setupCameraPreviewManager_ && setupCameraPreviewCameraID_ == wanted) {
        emit cameraChanged();
    } else if (!pendingAttempt_ || pendingAttempt_->cameraID != *wanted) {
        startSetupCameraPreview(*wanted, true);
    }
}

void SetupCameraPreview::startSetupCameraPreview(const std::string& cameraID, bool allowRetry) {
    abandonAttempt();
    dropCamera();
    pendingAttempt_ = {cameraID, allowRetry};
    settingUp_.setFuture(
        resultOn(queue_, [make = makeCamera_, cameraID] { return make(cameraID); }).future());
}

void SetupCameraPreview::cancel() {
    abandonAttempt();
    dropCamera();
}

std::shared_ptr<CameraFeed> SetupCameraPreview::takeCamera() {
    abandonAttempt();
    setupCameraPreviewCameraID_.reset();
    return std::exchange(setupCameraPreviewManager_, nullptr);
}

void SetupCameraPreview::attemptEnded() {
    if (!pendingAttempt_) return;
    const Attempt attempt = *std::exchange(pendingAttempt_, std::nullopt);
    try {
        const std::shared_ptr<CameraFeed> camera = settingUp_.result();
        abandonAttempt();
        accept(camera, attempt.cameraID);
    } catch (const std::exception& error) {
        emit cameraChanged();
        logger(LogCategory::app).error("Failed to start setup camera preview: {}", error.what());
        if (!attempt.allowRetry) return;
        retryCameraID_ = attempt.cameraID;
        retryDelay_.start();
    }
}

void SetupCameraPreview::accept(std::shared_ptr<CameraFeed> camera, const std::string& cameraID) {
    if (wantedCamera_() != cameraID) return;
    if (!camera->isRunning()) camera->start();
    setupCameraPreviewManager_ = std::move(camera);
    setupCameraPreviewCameraID_ = cameraID;
    emit cameraChanged();
}

void SetupCameraPreview::retry() {
    if (wantedCamera_() == retryCameraID_) startSetupCameraPreview(retryCameraID_, false);
}

void SetupCameraPreview::abandonAttempt() {
    pendingAttempt_.reset();
    // The watcher would keep what it watches, and with it the camera, until the next attempt.
    settingUp_.setFuture({});
    retryDelay_.stop();
}

void SetupCameraPreview::dropCamera() {
    stop(setupCameraPreviewManager_);
    setupCameraPreviewCameraID_.reset();
    if (std::exchange(setupCameraPreviewManager_, nullptr)) emit cameraChanged();
}

}  // namespace varnelle
