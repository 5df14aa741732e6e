#include "shell/MainViewModel.h"

#include "app/DurationFormat.h"

namespace varnelle {

MainViewModel::MainViewModel(AppState& app, AppWindows& windows, CheckForUpdatesViewModel& updates)
    : app_(app), windows_(windows), updates_(updates) {
    connect(&app, &AppState::modeChanged, this, &MainViewModel::contentChanged);
    connect(&app, &AppState::currentProjectChanged, this, &MainViewModel::hasProjectChanged);
    connect(&app.recordingFlow(), &RecordingFlow::recordingDurationChanged, this,
            &MainViewModel::recordingTimeChanged);
    connect(this, &MainViewModel::hasProjectChanged, this, &MainViewModel::updateMenu);
    connect(&updates, &CheckForUpdatesViewModel::canCheckForUpdatesChanged, this, &MainViewModel::updateMenu);
    updateMenu();
}

MainViewModel::Content MainViewModel::content() const {
    switch (app_.mode()) {
        case AppMode::setup:
            return Content::None;
        case AppMode::recording:
            return Content::Recording;
        case AppMode::editing:
            return Content::Editor;
        case AppMode::exporting:
            return Content::ExportView;
    }
    return Content::None;
}

QString MainViewModel::recordingTime() const {
    return QString::fromStdString(menuBarDuration(app_.recordingFlow().recordingDuration()));
}

void MainViewModel::showExportView() {
    if (hasProject()) app_.showExportView();
}

void MainViewModel::updateMenu() {
    programMenu_.setItems(
        {{.text = tr("Open Project…"), .action = [this] { openProject(); }},
         {.text = tr("Save"), .isEnabled = hasProject(), .action = [this] { emit saveWanted(); }},
         MenuItem::separator(),
         {.text = tr("Start/Stop Recording"), .action = [this] { toggleRecording(); }},
         {.text = tr("Export…"), .isEnabled = hasProject(), .action = [this] { showExportView(); }},
         MenuItem::separator(),
         {.text = tr("Check for Updates…"),
          .isEnabled = updates_.canCheckForUpdates(),
          .action = [this] { updates_.checkForUpdates(); }},
         MenuItem::separator(),
         {.text = tr("Quit Varnelle"), .action = [this] { windows_.requestQuit(); }}});
}

}  // namespace varnelle
