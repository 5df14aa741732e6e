#include "app/SetupCameraPreview.h"

#include <QCoro/QCoroTimer>
#include <QPointer>
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
    : makeCamera_(std::move(makeCamera)), wantedCamera_(std::move(wantedCamera)) {}

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
    } else if (pendingSetupCameraID_ != wanted) {
        startSetupCameraPreview(*wanted, true);
    }
}

void SetupCameraPreview::startSetupCameraPreview(const std::string& cameraID, bool allowRetry) {
    const unsigned generation = ++setupCameraPreviewGeneration_;
    dropCamera();
    pendingSetupCameraID_ = cameraID;
    attempt(cameraID, allowRetry, generation);
}

void SetupCameraPreview::cancel() {
    ++setupCameraPreviewGeneration_;
    pendingSetupCameraID_.reset();
    dropCamera();
}

std::shared_ptr<CameraFeed> SetupCameraPreview::takeCamera() {
    ++setupCameraPreviewGeneration_;
    pendingSetupCameraID_.reset();
    setupCameraPreviewCameraID_.reset();
    return std::exchange(setupCameraPreviewManager_, nullptr);
}

QCoro::Task<> SetupCameraPreview::attempt(std::string cameraID, bool allowRetry, unsigned generation) {
    const QPointer<SetupCameraPreview> self = this;
    const auto setUp = [make = makeCamera_, cameraID] { return make(cameraID); };
    const QFuture<std::shared_ptr<CameraFeed>> settingUp = resultOn(queue_, setUp);
    std::shared_ptr<CameraFeed> camera;
    std::string failure;
    try {
        camera = co_await settingUp;
    } catch (const std::exception& error) {
        failure = error.what();
    }
    if (!self || generation != setupCameraPreviewGeneration_) co_return;
    pendingSetupCameraID_.reset();
    if (camera) {
        accept(std::move(camera), cameraID);
        co_return;
    }
    emit cameraChanged();
    logger(LogCategory::app).error("Failed to start setup camera preview: {}", failure);
    if (!allowRetry) co_return;
    const QCoro::Task<> retry = retryLater(cameraID, generation);
    co_await retry;
}

void SetupCameraPreview::accept(std::shared_ptr<CameraFeed> camera, const std::string& cameraID) {
    if (wantedCamera_() != cameraID) return;
    if (!camera->isRunning()) camera->start();
    setupCameraPreviewManager_ = std::move(camera);
    setupCameraPreviewCameraID_ = cameraID;
    emit cameraChanged();
}

QCoro::Task<> SetupCameraPreview::retryLater(std::string cameraID, unsigned generation) {
    const QPointer<SetupCameraPreview> self = this;
    co_await QCoro::sleepFor(kRetryDelay);
    if (!self || generation != setupCameraPreviewGeneration_ || wantedCamera_() != cameraID) co_return;
    startSetupCameraPreview(cameraID, false);
}

void SetupCameraPreview::dropCamera() {
    stop(setupCameraPreviewManager_);
    setupCameraPreviewCameraID_.reset();
    if (std::exchange(setupCameraPreviewManager_, nullptr)) emit cameraChanged();
}

}  // namespace varnelle
