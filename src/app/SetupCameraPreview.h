#pragma once

#include <QFutureWatcher>
#include <QObject>
#include <QTimer>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "foundation/Queue.h"
#include "recording/CameraFeed.h"

namespace varnelle {

/// The running camera of the setup: started in the background, replaced when another is chosen, and handed
/// over to the recording without a stop. Main thread.
class SetupCameraPreview final : public QObject {
    Q_OBJECT

public:
    /// The camera that should run now; absent for none.
    using WantedCamera = std::function<std::optional<std::string>()>;

    /// `makeCamera` sets a camera up, on a thread of the object's.
    SetupCameraPreview(CameraFactory makeCamera, WantedCamera wantedCamera);
    ~SetupCameraPreview() override;

    /// Brings the camera in line with what is wanted: nothing happens if it runs or is on its way.
    void updateSetupCameraPreview();
    /// Starts a camera in place of whatever runs. One that can't be set up gets a second try after half a
    /// second if `allowRetry`. An attempt that is overtaken stops its camera.
    void startSetupCameraPreview(const std::string& cameraID, bool allowRetry);
    /// Gives up the camera and any attempt.
    void cancel();
    /// Hands the running camera over; null if none runs. An attempt is given up.
    [[nodiscard]] std::shared_ptr<CameraFeed> takeCamera();

    [[nodiscard]] const std::shared_ptr<CameraFeed>& camera() const { return setupCameraPreviewManager_; }

signals:
    /// Another camera is shown, or none any more.
    void cameraChanged();

private:
    /// A camera that is being set up, and whether a failure is worth a second try.
    struct Attempt {
        std::string cameraID;
        bool allowRetry = false;
    };
    void attemptEnded();
    void accept(std::shared_ptr<CameraFeed> camera, const std::string& cameraID);
    void retry();
    void abandonAttempt();
    void dropCamera();

    const CameraFactory makeCamera_;
    const WantedCamera wantedCamera_;
    std::shared_ptr<CameraFeed> setupCameraPreviewManager_;
    std::optional<std::string> setupCameraPreviewCameraID_;
    std::optional<Attempt> pendingAttempt_;
    /// Watches the newest attempt; those that were overtaken end unheard.
    QFutureWatcher<std::shared_ptr<CameraFeed>> settingUp_;
    QTimer retryDelay_;
    std::string retryCameraID_;  ///< what failed when the delay began
    ConcurrentQueue queue_{"com.varnelle.camera.setup", 2};
};

}  // namespace varnelle
