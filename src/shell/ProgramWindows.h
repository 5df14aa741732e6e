#pragma once

#include <QPointer>
#include <QQmlEngine>
#include <memory>
#include <vector>

#include "app/AppWindows.h"
#include "app/CheckForUpdatesViewModel.h"
#include "capture_ui/CameraPreviewHub.h"
#include "capture_ui/CapturePanels.h"
#include "capture_ui/PermissionsModel.h"
#include "foundation/UserDefaults.h"
#include "platform/DesktopPlatform.h"
#include "platform/SystemPermissions.h"

namespace varnelle {

class AlertWindow;
class EditorModel;
class ExportModel;
class MainViewModel;
struct AlertContent;
class MainWindow;
class PermissionsWindow;
class ProjectOpenCoordinator;
class TrayItem;

/// All windows of the program. Main thread.
class ProgramWindows final : public QObject, public AppWindows {
    Q_OBJECT

public:
    /// All must outlive the object.
    ProgramWindows(QQmlEngine& engine, DesktopPlatform& platform, SystemPermissions& permissions,
                   Updater& updater, UserDefaults& defaults, ProjectOpenCoordinator& openCoordinator,
                   std::shared_ptr<CameraPreviewHub> cameras);
    ~ProgramWindows() override;

    /// The state that the windows show and act on; before anything else is called, and once.
    void attach(AppState& app);
    /// Closes everything that shows the state, before that goes.
    void detach();
    /// Quits for good: whatever had to be asked or saved has been.
    std::function<void()> onTerminate;

    void showDockBar() override;
    void hideDockBar() override;
    [[nodiscard]] std::optional<std::string> dockBarScreenName() const override;
    void closeSelectionPanels() override;
    void showRecordingPreview() override;
    void hideRecordingPreview() override;
    void fadeOutRecordingUI(std::chrono::milliseconds duration, std::function<void()> onEnd) override;
    void becomeAccessory() override;
    void becomeRegular() override;
    void showMainWindow() override;
    void hideMainWindow() override;
    void showPermissionsWindow() override;
    void closePermissionsWindow() override;
    void activate() override;
    void ask(const ProjectAlert& alert, std::function<void(ProjectAlertAnswer)> onAnswer) override;
    void showError(const std::string& message) override;
    void checkForUpdates() override { updates_.checkForUpdates(); }
    [[nodiscard]] bool canCheckForUpdates() const override { return updates_.canCheckForUpdates(); }
    void chooseExportDirectory(const URL& preferred,
                               std::function<void(const std::optional<URL>&)> onChoice) override;
    /// During a save: when that has ended.
    void requestQuit() override;
    void replyToApplicationShouldTerminate(bool shouldTerminate) override;
    void chooseProject() override;

private:
    void permissionsGranted();
    void showAlert(const AlertContent& content, const std::function<void(int)>& onAnswer);
    [[nodiscard]] QWindow* visibleMainWindow() const;

    QQmlEngine& engine_;
    DesktopPlatform& platform_;
    UserDefaults& defaults_;
    ProjectOpenCoordinator& openCoordinator_;
    const std::shared_ptr<CameraPreviewHub> cameras_;
    AppState* app_ = nullptr;
    CheckForUpdatesViewModel updates_;
    std::unique_ptr<CapturePanels> panels_;
    std::unique_ptr<MainViewModel> mainViewModel_;
    std::unique_ptr<EditorModel> editorModel_;
    std::unique_ptr<ExportModel> exportModel_;
    std::unique_ptr<MainWindow> mainWindow_;
    PermissionsModel permissionsModel_;
    std::unique_ptr<PermissionsWindow> permissionsWindow_;
    std::unique_ptr<TrayItem> tray_;
    std::vector<QPointer<AlertWindow>> alerts_;
};

}  // namespace varnelle
