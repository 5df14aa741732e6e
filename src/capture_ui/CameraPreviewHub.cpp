#include "capture_ui/CameraPreviewHub.h"

#include <utility>

namespace varnelle {

/// A camera whose pictures go to the hub, too.
class WatchedCamera final : public CameraFeed {
public:
    WatchedCamera(std::shared_ptr<CameraFeed> camera, std::shared_ptr<CameraPreviewHub> hub)
        : camera_(std::move(camera)), hub_(std::move(hub)) {
        setOnCameraFrame({});
    }
    ~WatchedCamera() override {
        camera_->setOnCameraFrame({});
        hub_->clear();
    }

    void setOnCameraFrame(FrameCallback callback) override {
        camera_->setOnCameraFrame([hub = hub_, callback = std::move(callback)](const SampleBuffer& sample) {
            if (callback) callback(sample);
            if (const VideoFrame* picture = sample.image()) hub->show(*picture);
        });
    }
    void start() override { camera_->start(); }
    void stop() override {
        camera_->stop();
        hub_->clear();
    }
    [[nodiscard]] bool isRunning() const override { return camera_->isRunning(); }
    [[nodiscard]] std::optional<PixelSize> activeFormatDimensions() const override {
        return camera_->activeFormatDimensions();
    }

private:
    const std::shared_ptr<CameraFeed> camera_;
    const std::shared_ptr<CameraPreviewHub> hub_;
};

CameraFactory CameraPreviewHub::watched(CameraFactory factory) {
    return [factory = std::move(factory), hub = shared_from_this()](
               const std::optional<std::string>& preferredCameraID) -> std::shared_ptr<CameraFeed> {
        return std::make_shared<WatchedCamera>(factory(preferredCameraID), hub);
    };
}

void CameraPreviewHub::watch(Watcher watcher) {
    const std::lock_guard lock(mutex_);
    watcher_ = std::move(watcher);
    if (watcher_ && !last_.isEmpty()) watcher_(last_);
}

void CameraPreviewHub::show(const VideoFrame& picture) {
    const std::lock_guard lock(mutex_);
    last_ = picture;
    if (watcher_) watcher_(picture);
}

void CameraPreviewHub::clear() {
    const std::lock_guard lock(mutex_);
    last_ = {};
}

}  // namespace varnelle
