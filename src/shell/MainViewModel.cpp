#include "shell/MainViewModel.h"

#include <QPointer>
#include <exception>

#include "app/DurationFormat.h"
#include "render/StillFrame.h"
#include "tasks/Completion.h"

namespace varnelle {
namespace {

QImage imageOf(const Bitmap& bitmap) {
    const BitmapView& view = bitmap.view();
    // The copy makes the picture independent of the bitmap's storage.
    return QImage(view.data, view.width, view.height, view.bytesPerRow, QImage::Format_ARGB32_Premultiplied)
        .copy();
}

}  // namespace

MainViewModel::MainViewModel(AppState& app) : app_(app) {
    connect(&app, &AppState::modeChanged, this, &MainViewModel::contentChanged);
    connect(&app, &AppState::currentProjectChanged, this, &MainViewModel::projectReplaced);
    connect(&app.recordingFlow(), &RecordingFlow::recordingDurationChanged, this,
            &MainViewModel::recordingTimeChanged);
    connect(&app, &AppState::isExportingChanged, this, &MainViewModel::exportChanged);
    connect(&app, &AppState::exportProgressChanged, this, &MainViewModel::exportChanged);
    connect(&app, &AppState::exportErrorChanged, this, &MainViewModel::exportChanged);
    connect(&app, &AppState::currentRecordingURLChanged, this, &MainViewModel::exportChanged);
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

QString MainViewModel::projectName() const {
    return hasProject() ? QString::fromStdString(app_.currentProject()->name) : QString();
}

QString MainViewModel::recordingTime() const {
    return QString::fromStdString(menuBarDuration(app_.recordingFlow().recordingDuration()));
}

QString MainViewModel::exportError() const {
    return QString::fromStdString(app_.exportError().value_or(""));
}

QString MainViewModel::exportedPath() const {
    const bool isExported = app_.exportProgress() >= 1 && !app_.isExporting() && app_.currentRecordingURL();
    return isExported ? QString::fromStdString(app_.currentRecordingURL()->string()) : QString();
}

void MainViewModel::showExportView() {
    if (app_.currentProject()) app_.showExportView();
}

void MainViewModel::startExport() {
    ExportSettings settings;
    settings.customFilename = app_.exportFilename();
    app_.startExport(settings);
}

void MainViewModel::projectReplaced() {
    emit projectChanged();
    const std::optional<Project>& project = app_.currentProject();
    const std::optional<UUID> projectID = project ? std::optional(project->id) : std::nullopt;
    if (posterProjectID_ == projectID) return;
    posterProjectID_ = projectID;
    poster_ = {};
    posterFailure_.clear();
    emit posterChanged();
    if (project) paintPoster(*project);
}

QCoro::Task<> MainViewModel::paintPoster(Project project) {
    const QPointer<MainViewModel> self = this;
    const UUID projectID = project.id;
    const auto paint = [project = std::move(project)] { return imageOf(renderStillFrame(project, 0)); };
    const QFuture<QImage> painting = resultOn(queue_, paint);
    QImage poster;
    QString failure;
    try {
        poster = co_await painting;
    } catch (const std::exception& error) {
        failure = QString::fromUtf8(error.what());
    }
    if (!self || posterProjectID_ != projectID) co_return;
    poster_ = poster;
    posterFailure_ = failure;
    emit posterChanged();
}

}  // namespace varnelle
