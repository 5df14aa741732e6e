#include "shell/ProgramWindows.h"

#include <QDesktopServices>
#include <QGuiApplication>
#include <QQuickItem>
#include <QScreen>
#include <QTimer>
#include <array>
#include <utility>

#include "app/AppState.h"
#include "app/ProjectOpenCoordinator.h"
#include "capture_ui/PermissionsWindow.h"
#include "editor/EditorModel.h"
#include "editor/ExportModel.h"
#include "media/Player.h"
#include "model/ProjectPackage.h"
#include "shell/AlertWindow.h"
#include "shell/FolderQuestion.h"
#include "shell/MainViewModel.h"
#include "shell/MainWindow.h"
#include "shell/TrayItem.h"

namespace varnelle {
namespace {

constexpr std::chrono::milliseconds kPointerDelay{500};

QString textOf(const std::string& text) {
    return QString::fromStdString(text);
}

}  // namespace

ProgramWindows::ProgramWindows(QQmlEngine& engine, DesktopPlatform& platform, SystemPermissions& permissions,
                               Updater& updater, UserDefaults& defaults,
                               ProjectOpenCoordinator& openCoordinator,
                               std::shared_ptr<CameraPreviewHub> cameras)
    : engine_(engine),
      platform_(platform),
      defaults_(defaults),
      openCoordinator_(openCoordinator),
      cameras_(std::move(cameras)),
      updates_(updater),
      permissionsModel_(permissions) {
    connect(&permissionsModel_, &PermissionsModel::allGranted, this, &ProgramWindows::permissionsGranted);
}

ProgramWindows::~ProgramWindows() = default;

void ProgramWindows::attach(AppState& app) {
    app_ = &app;
    panels_ = std::make_unique<CapturePanels>(engine_, app, *this, platform_, cameras_);
    mainViewModel_ = std::make_unique<MainViewModel>(app, *this, updates_);
    editorModel_ = std::make_unique<EditorModel>(
        app, [this] { return std::make_unique<Player>(platform_.makeAudioOutput()); });
    exportModel_ = std::make_unique<ExportModel>(app);
    connect(mainViewModel_.get(), &MainViewModel::saveWanted, editorModel_.get(), &EditorModel::save);
    connect(editorModel_.get(), &EditorModel::saveFailed, this,
            [this](const QString& message) { showError(message.toStdString()); });
    connect(exportModel_.get(), &ExportModel::folderWanted, this,
            [](const QUrl& folder) { QDesktopServices::openUrl(folder); });
    tray_ = std::make_unique<TrayItem>(engine_, app);
}

void ProgramWindows::detach() {
    for (const QPointer<AlertWindow>& alert : alerts_) delete alert;
    alerts_.clear();
    tray_.reset();
    mainWindow_.reset();
    permissionsWindow_.reset();
    exportModel_.reset();
    editorModel_.reset();
    mainViewModel_.reset();
    panels_.reset();
}

void ProgramWindows::showDockBar() {
    panels_->showDockBar();
}

void ProgramWindows::hideDockBar() {
    panels_->hideDockBar();
}

std::optional<std::string> ProgramWindows::dockBarScreenName() const {
    return panels_ ? panels_->dockBarScreenName() : std::nullopt;
}

void ProgramWindows::closeSelectionPanels() {
    panels_->closeSelectionPanels();
}

void ProgramWindows::showRecordingPreview() {
    panels_->showRecordingPreview();
}

void ProgramWindows::hideRecordingPreview() {
    panels_->hideRecordingPreview();
}

void ProgramWindows::fadeOutRecordingUI(std::chrono::milliseconds duration, std::function<void()> onEnd) {
    panels_->fadeOutRecordingUI(duration, std::move(onEnd));
}

// The panels that stay while a recording runs are in no list of running programs anyway, and the others are
// hidden.
void ProgramWindows::becomeAccessory() {}
void ProgramWindows::becomeRegular() {}

void ProgramWindows::showMainWindow() {
    if (!mainWindow_) {
        mainWindow_ = std::make_unique<MainWindow>(
            engine_, *app_, defaults_,
            QVariantMap{{"model", QVariant::fromValue(mainViewModel_.get())},
                        {"editorModel", QVariant::fromValue(editorModel_.get())},
                        {"exportModel", QVariant::fromValue(exportModel_.get())}});
    }
    if (mainWindow_->windowStates().testFlag(Qt::WindowMinimized)) {
        mainWindow_->showNormal();
    } else {
        mainWindow_->show();
    }
    mainWindow_->raise();
    mainWindow_->requestActivate();
}

void ProgramWindows::hideMainWindow() {
    if (mainWindow_) mainWindow_->hide();
}

QWindow* ProgramWindows::visibleMainWindow() const {
    return mainWindow_ && mainWindow_->isVisible() ? mainWindow_.get() : nullptr;
}

void ProgramWindows::showPermissionsWindow() {
    if (!permissionsWindow_) {
        permissionsWindow_ = std::make_unique<PermissionsWindow>(engine_, *app_, permissionsModel_);
    }
    permissionsWindow_->show();
    permissionsWindow_->raise();
    permissionsWindow_->requestActivate();
}

void ProgramWindows::permissionsGranted() {
    app_->finishPermissions();
    QTimer::singleShot(kPointerDelay, this, [this] { panels_->showDockPointer(); });
}

void ProgramWindows::closePermissionsWindow() {
    if (!permissionsWindow_) return;
    permissionsWindow_->hide();
    permissionsWindow_.release()->deleteLater();  // its own button has brought this about
}

void ProgramWindows::activate() {
    if (QWindow* window = visibleMainWindow()) {
        window->raise();
        window->requestActivate();
    } else {
        panels_->activateDockBar();
    }
}

void ProgramWindows::ask(const ProjectAlert& alert, std::function<void(ProjectAlertAnswer)> onAnswer) {
    const AlertContent content{
        .message = textOf(alert.message),
        .informativeText = textOf(alert.informativeText),
        .buttons = {textOf(alert.saveButton), textOf(alert.deleteButton), textOf(alert.cancelButton)},
        .cancelButton = 2,
        .destructiveButton = 1};
    const auto answer = [onAnswer = std::move(onAnswer)](int button) {
        static constexpr std::array kAnswers{ProjectAlertAnswer::save, ProjectAlertAnswer::deleteProject,
                                             ProjectAlertAnswer::cancel};
        onAnswer(kAnswers.at(static_cast<std::size_t>(button)));
    };
    showAlert(content, answer);
}

void ProgramWindows::showError(const std::string& message) {
    const AlertContent content{.message = textOf(message), .informativeText = {}, .buttons = {tr("OK")}};
    showAlert(content, [](int) {});
}

/// It deletes itself when it has been answered.
void ProgramWindows::showAlert(const AlertContent& content, const std::function<void(int)>& onAnswer) {
    alerts_.emplace_back(new AlertWindow(engine_, visibleMainWindow(), content, onAnswer));
    std::erase_if(alerts_, [](const QPointer<AlertWindow>& alert) { return alert.isNull(); });
}

void ProgramWindows::chooseProject() {
    const auto open = [this](const std::optional<URL>& folder) {
        if (!folder) return;
        openCoordinator_.open({*folder});
    };
    new FolderQuestion(engine_, visibleMainWindow(), tr("Open a project"), tr("Open"),
                       homeDirectory().appending(kProjectFolderName), open, this);
}

void ProgramWindows::chooseExportDirectory(const URL& preferred,
                                           std::function<void(const std::optional<URL>&)> onChoice) {
    new FolderQuestion(engine_, visibleMainWindow(),
                       tr("Allow Varnelle access to your Movies folder for exports."), tr("Allow Access"),
                       preferred, std::move(onChoice), this);
}

void ProgramWindows::requestQuit() {
    // Whoever asks may be a window that goes away.
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (app_->isSavingProject()) {
                // During a save the request would be turned down.
                connect(app_, &AppState::isSavingProjectChanged, this, &ProgramWindows::requestQuit,
                        Qt::SingleShotConnection);
                return;
            }
            if (mainWindow_) mainWindow_->commitText();
            if (app_->applicationShouldTerminate() == TerminationReply::now) onTerminate();
        },
        Qt::QueuedConnection);
}

void ProgramWindows::replyToApplicationShouldTerminate(bool shouldTerminate) {
    if (shouldTerminate) onTerminate();
}

}  // namespace varnelle
