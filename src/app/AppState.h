#pragma once

#include <QCoro/QCoroTask>
#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/AppMode.h"
#include "app/AppWindows.h"
#include "app/CaptureSources.h"
#include "app/ProjectTransition.h"
#include "app/RecordingFlow.h"
#include "app/SetupCameraPreview.h"
#include "app/Updater.h"
#include "export/ExportEngine.h"
#include "foundation/DirectoryLock.h"
#include "foundation/Queue.h"
#include "foundation/URL.h"
#include "foundation/UserDefaults.h"
#include "model/OverlayModels.h"
#include "model/Project.h"
#include "platform/SystemPermissions.h"
#include "recording/SessionRecovery.h"
#include "timeline/TimelineEditor.h"

namespace varnelle {

class ProjectOpenCoordinator;

/// How a request to quit is answered.
enum class TerminationReply {
    now,
    cancel,
    later,  ///< `AppWindows::replyToApplicationShouldTerminate` brings the answer
};

/// The application's one state object: every view observes it, every change of mode goes through it. It holds
/// the open project and guards unsaved work. There is one for the whole run, on the Qt main thread.
///
/// Operations that return a task do their file work on a queue of their own; the task's end is the
/// operation's.
class AppState final : public QObject {
    Q_OBJECT
    Q_PROPERTY(varnelle::AppMode mode READ mode NOTIFY modeChanged)
    Q_PROPERTY(bool isDockBarVisible READ isDockBarVisible NOTIFY isDockBarVisibleChanged)
    Q_PROPERTY(bool isSavingProject READ isSavingProject NOTIFY isSavingProjectChanged)
    Q_PROPERTY(bool isExporting READ isExporting NOTIFY isExportingChanged)
    Q_PROPERTY(double exportProgress READ exportProgress NOTIFY exportProgressChanged)

public:
    /// The folders that the program works in.
    struct Directories {
        URL home = homeDirectory();
        URL temporary = temporaryDirectory();
    };

    /// Takes up the files that wait at `openCoordinator`, and starts the launch as soon as the event loop
    /// runs: the dock bar, or the permissions window if a permission is missing.
    /// `makeCamera` sets a camera up for preview and recording. All that is referred to must outlive the
    /// object.
    AppState(AppWindows& windows, DesktopPlatform& platform, const CameraFactory& makeCamera,
             const SystemPermissions& permissions, Updater& updater, UserDefaults& defaults,
             ProjectOpenCoordinator& openCoordinator, Directories directories);
    ~AppState() override;

    [[nodiscard]] AppMode mode() const { return _mode; }
    [[nodiscard]] bool isDockBarVisible() const { return _isDockBarVisible; }
    [[nodiscard]] const CameraBubbleLayout& cameraBubbleLayout() const { return _cameraBubbleLayout; }
    /// The open project, as the editor has it.
    [[nodiscard]] const std::optional<Project>& currentProject() const { return _currentProject; }
    /// The screen movie of the open project, after an export the exported file.
    [[nodiscard]] const std::optional<URL>& currentRecordingURL() const { return _currentRecordingURL; }
    /// The package of the open project; absent if it was never saved.
    [[nodiscard]] const std::optional<URL>& currentProjectFileURL() const { return currentProjectFileURL_; }
    /// The editor of the open project, or null.
    [[nodiscard]] const TimelineEditor* timelineEditor() const { return _timelineEditor.get(); }
    [[nodiscard]] const std::optional<ProjectTransitionAction>& pendingProjectAlertAction() const {
        return pendingProjectAlertAction_;
    }
    /// A save is under way; the project takes no edits until it has ended.
    [[nodiscard]] bool isSavingProject() const { return _isSavingProject; }

    // What can be recorded.
    [[nodiscard]] CaptureSources& captureSources() { return captureSources_; }
    [[nodiscard]] SetupCameraPreview& setupCameraPreview() { return setupCameraPreview_; }
    /// Reads the lists of sources anew and chooses for the user what isn't chosen.
    QCoro::Task<> refreshCaptureSources();

    // Recording.
    [[nodiscard]] RecordingFlow& recordingFlow() { return recordingFlow_; }
    /// Starts a recording of what is chosen, or ends the one that runs; nothing in between.
    QCoro::Task<> toggleRecording();
    /// Nothing happens if nothing that could be recorded is chosen.
    QCoro::Task<> startRecording();
    QCoro::Task<> stopRecording() { return recordingFlow_.stopRecording(); }

    // Modes and windows.
    /// Back to the dock bar.
    void returnToSetup();
    /// To the main window with the editor.
    void enterEditor();
    /// To the main window with the export view.
    void showExportView();
    void showMainWindow() { windows_.showMainWindow(); }
    void showPermissionsWindow();
    /// All permissions have been granted: to the dock bar, or back to the open project.
    void finishPermissions();
    /// Whether the permissions window may close. The user's closing it without the permissions quits.
    [[nodiscard]] bool permissionsWindowShouldClose();
    /// Whether the main window may close: never by itself, but the project is asked to.
    [[nodiscard]] bool mainWindowShouldClose();
    /// The user has asked for the application again.
    void applicationShouldHandleReopen();
    [[nodiscard]] TerminationReply applicationShouldTerminate();

    // The project.
    /// Takes up the project of a recording that has just ended, as yet unsaved. No other may be open.
    void beginProject(Project project);
    /// Asks to open packages one after the other, each like a choice of the user.
    QCoro::Task<> openFiles(std::vector<URL> urls);
    /// Runs an edit of the open project and publishes its result. Nothing happens without a project or while
    /// it is being saved.
    void editProject(const std::function<void(TimelineEditor&)>& edit);
    /// The document as it would be saved now.
    [[nodiscard]] std::optional<ProjectEditorState> currentEditorState() const;
    /// Saves the project into its package; throws what `saveProject` throws, and then nothing has changed.
    /// Not while it is being saved already.
    QCoro::Task<> saveCurrentProject();
    /// Does something that makes the project go away, after a question if there are unsaved changes. One
    /// question at a time: while one waits, or the project is being saved, this does nothing.
    QCoro::Task<> requestProjectTransition(ProjectTransitionAction action);

    // Recordings that were never ended or whose projects were never saved.
    /// Those that nobody holds; see `varnelle::recoverableSessions`.
    QCoro::Task<std::vector<RecoverableSession>> recoverableSessions();
    /// Takes one up as the open project, unsaved. Nothing happens while a project is open.
    void recoverSession(const RecoverableSession& session);
    /// Removes one for ever, in the background.
    void deleteRecoverableSession(const RecoverableSession& session);

    // Export.
    [[nodiscard]] bool isExporting() const { return _isExporting; }
    [[nodiscard]] double exportProgress() const { return _exportProgress; }
    /// Why the last export failed; absent if it didn't.
    [[nodiscard]] const std::optional<std::string>& exportError() const { return _exportError; }
    /// The file name that the export view proposes.
    [[nodiscard]] const std::string& exportFilename() const { return _exportFilename; }
    /// Exports the open project. The task ends with the export; failures become `exportError`.
    QCoro::Task<> startExport(ExportSettings settings);
    void cancelExport();

signals:
    void modeChanged();
    void isDockBarVisibleChanged();
    void cameraBubbleLayoutChanged();
    void currentProjectChanged();
    void currentRecordingURLChanged();
    void isSavingProjectChanged();
    void isExportingChanged();
    void exportProgressChanged();
    void exportErrorChanged();
    /// An export has ended, also one that was cancelled; what came of it has been published.
    void exportEnded();
    void exportFilenameChanged();

private:
    template <typename Value>
    void set(Value& field, Value value, void (AppState::*changed)());
    void launch();
    void beginRecordedProject(const FinishedRecording& finished);
    void showInMainWindow(AppMode mode);
    [[nodiscard]] std::optional<std::string> wantedSetupCamera() const;
    /// Opens a package in place of nothing; a failure is shown to the user, who then finds the dock bar.
    QCoro::Task<> openProject(URL url);
    void closeCurrentProject(bool deletingRecording);
    void deleteSessionDirectory(const RecordingSession& session);
    void adopt(ProjectEditorState state);
    void adoptSaved(ProjectEditorState state, const URL& package);
    [[nodiscard]] bool hasUnsavedChanges() const;
    /// Nothing is recorded, or about to be.
    [[nodiscard]] bool isIdle() const { return recordingFlow_.recordingState() == RecordingState::idle; }
    void quitAfterRecording();
    void presentProjectTransitionAlert(const ProjectTransitionAction& action);
    void answerProjectAlert(const ProjectTransitionAction& action, ProjectAlertAnswer answer);
    QCoro::Task<> saveAndPerform(ProjectTransitionAction action);
    QCoro::Task<> performProjectTransition(ProjectTransitionAction action);
    void abandonTransition(const ProjectTransitionAction& action);
    void askForExportDirectory(const ExportSettings& settings);
    void finishExport(const ExportEngine::Result& result);

    AppWindows& windows_;
    const SystemPermissions& permissions_;
    UserDefaults& defaults_;
    const Directories directories_;

    AppMode _mode = AppMode::setup;
    bool _isDockBarVisible = false;
    CameraBubbleLayout _cameraBubbleLayout;
    std::optional<Project> _currentProject;
    std::optional<URL> _currentRecordingURL;
    std::unique_ptr<TimelineEditor> _timelineEditor;
    bool _isSavingProject = false;
    /// The opening or new recording that was asked for last while a save ran.
    std::function<void()> afterSaving_;
    double _exportProgress = 0;
    bool _isExporting = false;
    std::optional<std::string> _exportError;
    std::string _exportFilename;

    std::optional<URL> currentProjectFileURL_;
    /// Says that the session of the open project has somebody, until it is saved or closed.
    std::optional<DirectoryLock> sessionLock_;
    std::optional<std::string> lastSavedProjectFingerprint_;
    std::optional<ProjectTransitionAction> pendingProjectAlertAction_;
    /// Counts openings and closings: a package that has been read after another one is dropped.
    int projectGeneration_ = 0;
    bool shouldSkipSetupBootstrap_ = false;  ///< a project was asked for, so the launch shows no dock bar
    bool allowsPermissionsWindowClose_ = false;
    bool isQuittingAfterRecording_ = false;
    QMetaObject::Connection quittingAfterRecording_;
    std::shared_ptr<ExportEngine> exportEngine_;
    bool isAskingForExportDirectory_ = false;
    CaptureSources captureSources_;
    SetupCameraPreview setupCameraPreview_;
    RecordingFlow recordingFlow_;
    SerialQueue fileQueue_{"com.varnelle.project.files"};
};

}  // namespace varnelle
