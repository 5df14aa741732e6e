#pragma once

#include <QObject>
#include <QQmlEngine>
#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/AppState.h"
#include "capture_ui/AreaSelectionModel.h"
#include "capture_ui/CameraPreviewHub.h"
#include "capture_ui/DesktopPicture.h"
#include "capture_ui/DisplayHighlightModel.h"
#include "capture_ui/DockBarModel.h"
#include "capture_ui/RecordingIndicatorModel.h"
#include "capture_ui/SetupNoticeModel.h"
#include "capture_ui/SourceOverlays.h"
#include "capture_ui/StartRecordingModel.h"
#include "capture_ui/StopShortcut.h"
#include "capture_ui/WindowSelectionModel.h"
#include "platform/DesktopPlatform.h"
#include "ui/PanelWindow.h"

namespace varnelle {

/// All that floats on the desktop before and during a recording: the dock bar, the overlay of the chosen
/// source, the camera's picture, the pointer to the bar, the capsule with the stop. Main thread.
class CapturePanels final : public QObject {
    Q_OBJECT

public:
    /// `app` and `windows` are each other's; all must outlive the object.
    CapturePanels(QQmlEngine& engine, AppState& app, AppWindows& windows, DesktopPlatform& platform,
                  std::shared_ptr<CameraPreviewHub> cameras);
    ~CapturePanels() override;

    void showDockBar();
    void hideDockBar();
    /// The screen that the bar is on; absent while it isn't shown.
    [[nodiscard]] std::optional<std::string> dockBarScreenName() const;
    /// Gives the bar the keyboard, until the user goes elsewhere.
    void activateDockBar();
    /// Shows the user where the bar is, for some seconds.
    void showDockPointer();
    void closeSelectionPanels();
    /// Shows the camera's picture if one is to be recorded, and the capsule.
    void showRecordingPreview();
    void hideRecordingPreview();
    void fadeOutRecordingUI(std::chrono::milliseconds duration, std::function<void()> onEnd);

private:
    [[nodiscard]] std::unique_ptr<PanelWindow> makePanel(
        const char* view, const QVariantMap& properties, PanelWindow::Size size, PanelBehaviour behaviour,
        PanelWindow::Clicks clicks = PanelWindow::Clicks::taken);
    void presentDockPointer();
    void placeDockBar();
    void dockBarMoved();
    void syncNotice();
    void syncOverlay();
    void showOverlay();
    PanelWindow& panelOf(SourceOverlay overlay);
    [[nodiscard]] QObject& modelOf(SourceOverlay overlay);
    PanelWindow& capsulePanel();
    void makePanelsAhead();
    void syncCameraPreview();
    [[nodiscard]] bool wantsCameraPreview() const;
    void showCapsule();
    void recordingStateChanged();
    void followScreen(QScreen* screen);
    void screensChanged();
    /// The screen of the selected display, else the primary one; null only while the desktop has none.
    [[nodiscard]] QScreen* panelScreen() const;

    QQmlEngine& engine_;
    AppState& app_;
    DesktopPlatform& platform_;
    const std::shared_ptr<CameraPreviewHub> cameras_;
    std::unique_ptr<WindowManagement> management_;

    DockBarModel dockBarModel_;
    SourceOverlays overlays_;
    StartRecordingModel startModel_;
    AreaSelectionModel areaModel_;
    DisplayHighlightModel displayModel_;
    WindowSelectionModel windowModel_;
    RecordingIndicatorModel indicatorModel_;
    SetupNoticeModel noticeModel_;

    std::unique_ptr<PanelWindow> dockBarPanel_;
    int dockBarWidth_ = 0;
    std::unique_ptr<PanelWindow> dockPointerPanel_;
    DesktopPicture dockPointerBackdrop_;
    std::unique_ptr<PanelWindow> noticePanel_;
    /// One for each `SourceOverlay`. They and the capsule are made as soon as the bar is shown, so that a
    /// press finds them ready; `panelOf` and `capsulePanel` make what is asked for earlier.
    std::array<std::unique_ptr<PanelWindow>, 3> overlayPanels_;
    std::optional<SourceOverlay> shownOverlay_;  ///< or about to be
    DesktopPicture overlayBackdrop_;
    std::unique_ptr<PanelWindow> recordingPreviewPanel_;
    std::unique_ptr<PanelWindow> capsulePanel_;
    bool isRecordingUIShown_ = false;
    StopShortcut stopShortcut_;
};

}  // namespace varnelle
