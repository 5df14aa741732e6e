#include "app/AppState.h"

#include <QPointer>
#include <cassert>
#include <exception>
#include <utility>

#include "app/ProjectOpenCoordinator.h"
#include "export/ExportDirectory.h"
#include "foundation/Log.h"
#include "model/InterruptedSaves.h"
#include "model/ProjectFingerprint.h"
#include "model/ProjectLifecycle.h"
#include "model/ProjectPackage.h"
#include "tasks/Completion.h"

namespace varnelle {
namespace {

constexpr const char* kTakenSession = "The recording isn't there any more, or another Varnelle has it open.";

/// Another instance may have been offered the same recording.
bool nobodyHas(const RecordingSession& session) {
    try {
        return DirectoryLock::tryExclusive(session.directoryURL).has_value();
    } catch (const FileError&) {
        return false;
    }
}

}  // namespace

AppState::AppState(AppWindows& windows, DesktopPlatform& platform, const CameraFactory& makeCamera,
                   const SystemPermissions& permissions, Updater& updater, UserDefaults& defaults,
                   ProjectOpenCoordinator& openCoordinator, Directories directories)
    : windows_(windows),
      permissions_(permissions),
      defaults_(defaults),
      directories_(std::move(directories)),
      _cameraBubbleLayout(defaultCameraBubbleLayout(defaults)),
      captureSources_(platform, [&windows] { return windows.dockBarScreenName(); }),
      setupCameraPreview_(makeCamera, [this] { return wantedSetupCamera(); }),
      recordingFlow_(windows, platform, makeCamera, directories_.temporary,
                     {[this] {
                          set(_isDockBarVisible, false, &AppState::isDockBarVisibleChanged);
                          set(_mode, AppMode::recording, &AppState::modeChanged);
                      },
                      [this] { returnToSetup(); },
                      [this](const FinishedRecording& finished) { beginRecordedProject(finished); }}) {
    // Before any package is read: the queue is serial.
    fileQueue_.async(
        [projects = directories_.home.appending(kProjectFolderName)] { finishInterruptedSaves(projects); });
    // A camera that comes, goes or is chosen is seen at once, and so is the one that a recording had.
    connect(&captureSources_, &CaptureSources::cameraSelectionChanged, &setupCameraPreview_,
            &SetupCameraPreview::updateSetupCameraPreview);
    connect(&recordingFlow_, &RecordingFlow::recordingStateChanged, this, [this] {
        if (isIdle()) setupCameraPreview_.updateSetupCameraPreview();
    });
    openCoordinator.attach(*this);
    QMetaObject::invokeMethod(this, &AppState::launch, Qt::QueuedConnection);
    updater.setAutomaticallyChecksForUpdates(true);
    updater.checkForUpdatesInBackground();
}

AppState::~AppState() {
    if (_isExporting) exportEngine_->cancel();
}

template <typename Value>
void AppState::set(Value& field, Value value, void (AppState::*changed)()) {
    if (field == value) return;
    field = std::move(value);
    emit(this->*changed)();
}

void AppState::launch() {
    if (!permissions_.hasScreenCaptureAccess() || !permissions_.isAccessibilityTrusted()) {
        showPermissionsWindow();
    } else if (!shouldSkipSetupBootstrap_ && !_currentProject) {
        returnToSetup();
    }
}

void AppState::returnToSetup() {
    set(_mode, AppMode::setup, &AppState::modeChanged);
    captureSources_.setRecordingType(std::nullopt);
    windows_.hideRecordingPreview();
    windows_.hideDockBar();
    windows_.closeSelectionPanels();
    windows_.showDockBar();
    set(_isDockBarVisible, true, &AppState::isDockBarVisibleChanged);
    setupCameraPreview_.updateSetupCameraPreview();
    refreshCaptureSources();
    windows_.hideMainWindow();
    windows_.activate();
}

QCoro::Task<> AppState::refreshCaptureSources() {
    return captureSources_.refreshCaptureSources();
}

QCoro::Task<> AppState::toggleRecording() {
    switch (recordingFlow_.recordingState()) {
        case RecordingState::idle:
            return startRecording();
        default:
            return stopRecording();
    }
}

QCoro::Task<> AppState::startRecording() {
    // In the editor without a project, one is being opened.
    if (_mode != AppMode::setup || _currentProject || !isIdle()) co_return;
    captureSources_.updateSelectedDisplay();
    const auto configuration = captureSources_.makeRecordingConfiguration();
    if (!configuration) co_return;
    const QCoro::Task<> starting = recordingFlow_.startRecording(
        *configuration, setupCameraPreview_.takeCamera(), defaultOverlayConfiguration(_cameraBubbleLayout));
    co_await starting;
}

void AppState::beginRecordedProject(const FinishedRecording& finished) {
    beginProject(
        Project::make(finished.session, finished.duration, defaultOverlayConfiguration(_cameraBubbleLayout)));
}

/// A recording brings its own camera, and what is edited needs none.
std::optional<std::string> AppState::wantedSetupCamera() const {
    if (_mode != AppMode::setup || !isIdle() || !captureSources_.isCameraEnabled()) return std::nullopt;
    return captureSources_.selectedCameraID();
}

void AppState::enterEditor() {
    showInMainWindow(AppMode::editing);
}

void AppState::showExportView() {
    showInMainWindow(AppMode::exporting);
    windows_.activate();
}

void AppState::showInMainWindow(AppMode mode) {
    windows_.hideDockBar();
    set(_isDockBarVisible, false, &AppState::isDockBarVisibleChanged);
    windows_.hideRecordingPreview();
    set(_mode, mode, &AppState::modeChanged);
    setupCameraPreview_.cancel();
    windows_.showMainWindow();
}

void AppState::showPermissionsWindow() {
    allowsPermissionsWindowClose_ = false;
    windows_.showPermissionsWindow();
}

void AppState::finishPermissions() {
    allowsPermissionsWindowClose_ = true;
    windows_.closePermissionsWindow();
    const auto goOn = [this] {
        if (_currentProject) {
            windows_.showMainWindow();
        } else if (isIdle()) {
            returnToSetup();
        }
    };
    QMetaObject::invokeMethod(this, goOn, Qt::QueuedConnection);
}

bool AppState::permissionsWindowShouldClose() {
    if (!allowsPermissionsWindowClose_) windows_.requestQuit();
    return allowsPermissionsWindowClose_;
}

bool AppState::mainWindowShouldClose() {
    requestProjectTransition(CloseWindow{});
    return false;
}

void AppState::applicationShouldHandleReopen() {
    if (!permissions_.hasScreenCaptureAccess() || !permissions_.isAccessibilityTrusted()) {
        showPermissionsWindow();
    } else if (_mode == AppMode::setup && !_isDockBarVisible) {
        returnToSetup();
    } else if (_mode == AppMode::setup) {
        windows_.activate();
    } else if (_mode == AppMode::editing || _mode == AppMode::exporting) {
        windows_.showMainWindow();
    }
}

TerminationReply AppState::applicationShouldTerminate() {
    if (pendingProjectAlertAction_ || _isSavingProject) return TerminationReply::cancel;
    if (!isIdle()) {
        quitAfterRecording();
        return TerminationReply::later;
    }
    if (!hasUnsavedChanges()) return TerminationReply::now;
    pendingProjectAlertAction_ = QuitApplication{};
    presentProjectTransitionAlert(QuitApplication{});
    return TerminationReply::later;
}

/// What is being recorded becomes a project first, which is then asked about like any other.
void AppState::quitAfterRecording() {
    if (isQuittingAfterRecording_) return;
    isQuittingAfterRecording_ = true;
    const auto goOn = [this] {
        if (recordingFlow_.recordingState() == RecordingState::recording) {
            stopRecording();
        } else if (recordingFlow_.recordingState() == RecordingState::idle) {
            disconnect(quittingAfterRecording_);
            isQuittingAfterRecording_ = false;
            windows_.replyToApplicationShouldTerminate(false);
            windows_.requestQuit();
        }
    };
    // Out of the recording's own steps: they end before anything else begins.
    quittingAfterRecording_ =
        connect(&recordingFlow_, &RecordingFlow::recordingStateChanged, this, goOn, Qt::QueuedConnection);
    goOn();
}

void AppState::adopt(ProjectEditorState state) {
    _timelineEditor = std::make_unique<TimelineEditor>(std::move(state));
    const Project& project = _timelineEditor->project();
    set(_currentProject, std::optional(project), &AppState::currentProjectChanged);
    set(_currentRecordingURL, std::optional(project.recordingSession.screenRecordingURL),
        &AppState::currentRecordingURLChanged);
}

void AppState::adoptSaved(ProjectEditorState state, const URL& package) {
    sessionLock_.reset();
    currentProjectFileURL_ = package;
    lastSavedProjectFingerprint_ = projectFingerprint(state);
    adopt(std::move(state));
    set(_cameraBubbleLayout, varnelle::cameraBubbleLayout(_currentProject->timeline.overlayConfiguration),
        &AppState::cameraBubbleLayoutChanged);
}

void AppState::beginProject(Project project) {
    assert(!_currentProject);
    ++projectGeneration_;
    currentProjectFileURL_.reset();
    lastSavedProjectFingerprint_.reset();
    try {
        sessionLock_ = DirectoryLock::shared(project.recordingSession.directoryURL);
    } catch (const FileError&) {
        sessionLock_.reset();  // then another instance may offer to recover what is open here
    }
    adopt({std::move(project), {}, {}});
    set(_exportFilename, _currentProject->name, &AppState::exportFilenameChanged);
    enterEditor();
}

QCoro::Task<> AppState::openProject(URL url) {
    const QPointer<AppState> self = this;
    const int generation = ++projectGeneration_;
    try {
        // A package elsewhere may be waiting for its return, too.
        const auto read = [url] {
            finishInterruptedSaves(url.parent());
            return readPackage(url);
        };
        const Completion<ProjectEditorState> reading = resultOn(fileQueue_, read);
        ProjectEditorState state = co_await reading;
        // A recording that was started meanwhile goes first.
        if (!self || generation != projectGeneration_ || !isIdle()) co_return;
        adoptSaved(std::move(state), url);
        set(_exportFilename, _currentProject->name, &AppState::exportFilenameChanged);
        enterEditor();
        windows_.activate();
    } catch (const std::exception& error) {
        if (!self || generation != projectGeneration_) co_return;
        if (!isIdle()) {
            logger(LogCategory::app).error("A project isn't opened: {}", error.what());
            co_return;
        }
        windows_.showError(error.what());
        if (!_currentProject) returnToSetup();
    }
}

QCoro::Task<> AppState::openFiles(std::vector<URL> urls) {
    const QPointer<AppState> self = this;
    if (!isIdle()) {
        logger(LogCategory::app).error("Projects aren't opened while a recording runs");
        co_return;
    }
    for (const URL& url : urls) {
        shouldSkipSetupBootstrap_ = true;
        const QCoro::Task<> transition = requestProjectTransition(OpenProject{url});
        co_await transition;
        if (!self) co_return;
    }
}

void AppState::editProject(const std::function<void(TimelineEditor&)>& edit) {
    if (!_timelineEditor || _isSavingProject) return;
    edit(*_timelineEditor);
    set(_currentProject, std::optional(_timelineEditor->project()), &AppState::currentProjectChanged);
}

std::optional<ProjectEditorState> AppState::currentEditorState() const {
    if (!_timelineEditor) return std::nullopt;
    return namedForSaving(_timelineEditor->state());
}

QCoro::Task<> AppState::saveCurrentProject() {
    const QPointer<AppState> self = this;
    const std::optional<ProjectEditorState> state = currentEditorState();
    if (!state) throw ProjectPersistenceError::noProject();
    assert(!_isSavingProject);
    const bool wasNeverSaved = !currentProjectFileURL_;
    const Project previous = *_currentProject;
    set(_isSavingProject, true, &AppState::isSavingProjectChanged);
    const auto save = [state = *state, package = currentProjectFileURL_, home = directories_.home] {
        return saveProject(state, package, home);
    };
    const Completion<SavedProject> saving = resultOn(fileQueue_, save);
    std::exception_ptr failure;
    SavedProject saved;
    try {
        saved = co_await saving;
    } catch (...) {
        failure = std::current_exception();
    }
    if (!self) co_return;
    if (!failure) {
        adoptSaved(std::move(saved.state), saved.packageURL);
        if (wasNeverSaved) deleteSessionDirectory(previous.recordingSession);
    }
    set(_isSavingProject, false, &AppState::isSavingProjectChanged);
    const std::function<void()> next = std::exchange(afterSaving_, {});
    if (failure) std::rethrow_exception(failure);
    // Queued, so that whoever awaits this save goes first.
    if (next) QMetaObject::invokeMethod(this, next, Qt::QueuedConnection);
}

void AppState::closeCurrentProject(bool deletingRecording) {
    ++projectGeneration_;
    const std::optional<Project> project = _currentProject;
    if (_isExporting) cancelExport();
    exportEngine_.reset();  // what it still reports concerns nobody
    _timelineEditor.reset();
    currentProjectFileURL_.reset();
    sessionLock_.reset();
    lastSavedProjectFingerprint_.reset();
    set(_currentProject, {}, &AppState::currentProjectChanged);
    set(_exportFilename, {}, &AppState::exportFilenameChanged);
    set(_exportProgress, 0.0, &AppState::exportProgressChanged);
    set(_exportError, {}, &AppState::exportErrorChanged);
    set(_currentRecordingURL, {}, &AppState::currentRecordingURLChanged);
    if (deletingRecording && project) deleteSessionDirectory(project->recordingSession);
}

/// A failure is swallowed. Recordings are large and unlinking them takes its time, so that is done aside.
void AppState::deleteSessionDirectory(const RecordingSession& session) {
    const std::optional<URL> aside = setSessionAside(session.directoryURL, directories_.temporary);
    if (!aside) return;
    fileQueue_.async([aside] {
        std::error_code ignored;
        std::filesystem::remove_all(aside->path(), ignored);
    });
}

QCoro::Task<std::vector<RecoverableSession>> AppState::recoverableSessions() {
    const auto find = [temporary = directories_.temporary] {
        return varnelle::recoverableSessions(temporary);
    };
    const Completion<std::vector<RecoverableSession>> finding = resultOn(fileQueue_, find);
    co_return co_await finding;
}

void AppState::recoverSession(const RecoverableSession& session) {
    if (_currentProject || !isIdle()) return;
    if (nobodyHas(session.session)) {
        beginRecordedProject({session.session, session.duration});
    } else {
        windows_.showError(kTakenSession);
    }
}

void AppState::deleteRecoverableSession(const RecoverableSession& session) {
    if (nobodyHas(session.session)) {
        deleteSessionDirectory(session.session);
    } else {
        windows_.showError(kTakenSession);
    }
}

bool AppState::hasUnsavedChanges() const {
    const std::optional<ProjectEditorState> state = currentEditorState();
    if (!state) return false;
    const std::optional<std::string> fingerprint = projectFingerprint(*state);
    return !fingerprint || fingerprint != lastSavedProjectFingerprint_;
}

QCoro::Task<> AppState::requestProjectTransition(ProjectTransitionAction action) {
    if (pendingProjectAlertAction_) co_return;
    if (_isSavingProject) {
        // A window closes again by itself once the save has ended.
        if (!std::holds_alternative<CloseWindow>(action))
            afterSaving_ = [this, action] { requestProjectTransition(action); };
        co_return;
    }
    if (!hasUnsavedChanges()) {
        const QCoro::Task<> transition = performProjectTransition(action);
        co_await transition;
        co_return;
    }
    pendingProjectAlertAction_ = action;
    presentProjectTransitionAlert(action);
}

void AppState::presentProjectTransitionAlert(const ProjectTransitionAction& action) {
    windows_.ask(projectAlert(action), [self = QPointer(this), action](ProjectAlertAnswer answer) {
        if (self) self->answerProjectAlert(action, answer);
    });
}

void AppState::answerProjectAlert(const ProjectTransitionAction& action, ProjectAlertAnswer answer) {
    switch (answer) {
        case ProjectAlertAnswer::save:
            saveAndPerform(action);
            break;
        case ProjectAlertAnswer::deleteProject:
            performProjectTransition(action);
            break;
        case ProjectAlertAnswer::cancel:
            abandonTransition(action);
            break;
    }
}

QCoro::Task<> AppState::saveAndPerform(ProjectTransitionAction action) {
    const QPointer<AppState> self = this;
    std::optional<std::string> failure;
    try {
        const QCoro::Task<> saving = saveCurrentProject();
        co_await saving;
    } catch (const std::exception& error) {
        failure = error.what();
    }
    if (!self) co_return;
    if (!failure) {
        performProjectTransition(action);
    } else {
        abandonTransition(action);
        windows_.showError(*failure);
    }
}

QCoro::Task<> AppState::performProjectTransition(ProjectTransitionAction action) {
    pendingProjectAlertAction_.reset();
    closeCurrentProject(!currentProjectFileURL_);
    if (const auto* open = std::get_if<OpenProject>(&action)) {
        const QCoro::Task<> opening = openProject(open->url);
        co_await opening;
    } else if (std::holds_alternative<QuitApplication>(action)) {
        windows_.replyToApplicationShouldTerminate(true);
    } else {
        returnToSetup();
    }
}

void AppState::abandonTransition(const ProjectTransitionAction& action) {
    pendingProjectAlertAction_.reset();
    if (std::holds_alternative<QuitApplication>(action)) windows_.replyToApplicationShouldTerminate(false);
}

QCoro::Task<> AppState::startExport(ExportSettings settings) {
    if (!_currentProject || _isExporting || isAskingForExportDirectory_) co_return;
    // The files are about to have other places.
    if (_isSavingProject) {
        set(_exportError,
            std::optional<std::string>("The project is being saved. Please export it after that."),
            &AppState::exportErrorChanged);
        co_return;
    }
    const std::optional<URL> directory = usableExportDirectory(defaults_, settings.outputDirectory);
    if (!directory) {
        askForExportDirectory(settings);
        co_return;
    }
    settings.outputDirectory = *directory;
    set(_exportProgress, 0.0, &AppState::exportProgressChanged);
    set(_exportError, {}, &AppState::exportErrorChanged);
    showExportView();
    set(_isExporting, true, &AppState::isExportingChanged);

    const auto engine = std::make_shared<ExportEngine>();  // outlives this object if it is still winding down
    exportEngine_ = engine;
    const auto isCurrent = [self = QPointer(this), raw = engine.get()] {
        return self && self->exportEngine_.get() == raw;
    };
    const std::function<void(double)> onProgress = [this, isCurrent](double progress) {
        if (isCurrent()) set(_exportProgress, progress, &AppState::exportProgressChanged);
    };
    const std::function<void(ExportEngine::Result)> onComplete = [this, isCurrent](const auto& result) {
        if (isCurrent()) finishExport(result);
    };
    const QCoro::Task<> exporting = engine->exportProject(*_currentProject, settings, onProgress, onComplete);
    co_await exporting;
}

void AppState::askForExportDirectory(const ExportSettings& settings) {
    const auto use = [self = QPointer(this), settings,
                      projectID = _currentProject->id](const std::optional<URL>& chosen) {
        if (!self) return;
        self->isAskingForExportDirectory_ = false;
        // The user may have done anything else meanwhile.
        if (!self->_currentProject || self->_currentProject->id != projectID) return;
        if (chosen && rememberExportDirectory(self->defaults_, *chosen)) {
            self->startExport(settings);
            return;
        }
        self->set(self->_exportError,
                  std::optional<std::string>("Please allow access to your Movies folder to export."),
                  &AppState::exportErrorChanged);
    };
    isAskingForExportDirectory_ = true;
    windows_.chooseExportDirectory(settings.outputDirectory, use);
}

void AppState::finishExport(const ExportEngine::Result& result) {
    set(_isExporting, false, &AppState::isExportingChanged);
    if (const URL* movie = std::get_if<URL>(&result)) {
        set(_currentRecordingURL, std::optional(*movie), &AppState::currentRecordingURLChanged);
        set(_exportProgress, 1.0, &AppState::exportProgressChanged);
    } else {
        try {
            std::rethrow_exception(std::get<std::exception_ptr>(result));
        } catch (const std::exception& error) {
            set(_exportError, std::optional<std::string>(error.what()), &AppState::exportErrorChanged);
        }
    }
    emit exportEnded();
}

void AppState::cancelExport() {
    if (exportEngine_) exportEngine_->cancel();
    set(_isExporting, false, &AppState::isExportingChanged);
}

}  // namespace varnelle
