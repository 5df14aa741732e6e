#include "editor/ExportModel.h"

#include <fmt/format.h>

#include <QVariantMap>
#include <cmath>

#include "app/DurationFormat.h"

namespace varnelle {
namespace {

/// Before that, nothing can be said of an export's speed.
constexpr double kLeastElapsedSeconds = 2;
constexpr double kLeastProgress = 0.02;

QString textOf(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

const char* symbolOf(ExportPreset preset) {
    switch (preset) {
        case ExportPreset::original:
            return "sparkles";
        case ExportPreset::mac5K:
            return "display.2";
        case ExportPreset::uhd4K:
            return "4k.tv";
        case ExportPreset::qhd1440p:
            return "display";
        case ExportPreset::fullHD:
            return "tv";
        case ExportPreset::hd720p:
            return "rectangle.hd";
    }
    return "";
}

QVariantMap row(const QString& title, const QString& value) {
    return {{"title", title}, {"value", value}};
}

QString codecText() {
    return kExportCodec == VideoCodec::hevc ? "HEVC (H.265)" : "H.264 High Profile";
}

QString sizeText(const CGSize& size) {
    return QString("%1 × %2").arg(std::lround(size.width)).arg(std::lround(size.height));
}

}  // namespace

QString timeLeftText(double elapsedSeconds, double progress) {
    if (elapsedSeconds < kLeastElapsedSeconds || progress < kLeastProgress || progress >= 1) return {};
    const double left = elapsedSeconds * (1 - progress) / progress;
    if (left < 5) return ExportModel::tr("A few seconds left");
    if (left < 60)
        return ExportModel::tr("About %1 seconds left").arg(5 * static_cast<int>(std::ceil(left / 5)));
    const auto minutes = static_cast<int>(std::ceil(left / 60));
    if (minutes < 60) return ExportModel::tr("About %1 min left").arg(minutes);
    return ExportModel::tr("About %1 h %2 min left").arg(minutes / 60).arg(minutes % 60);
}

ExportModel::ExportModel(AppState& app) : app_(app) {
    connect(&app, &AppState::modeChanged, this, &ExportModel::enter);
    connect(&app, &AppState::isExportingChanged, this, &ExportModel::exportingChanged);
    connect(&app, &AppState::exportProgressChanged, this, &ExportModel::progressChanged);
    connect(&app, &AppState::exportErrorChanged, this, &ExportModel::errorChanged);
    connect(&app, &AppState::exportEnded, this, &ExportModel::exportEnded);
    connect(&app, &AppState::currentProjectChanged, this, &ExportModel::projectChanged);
    enter();
}

/// What is still exported of a project that has gone reports to nobody.
void ExportModel::projectChanged() {
    if (!app_.currentProject()) isCancelling_ = false;
    emit settingsChanged();
    emit pageChanged();
}

/// Each visit starts with fresh settings; one that returns to a running export keeps those of it.
void ExportModel::enter() {
    const bool isShown = app_.mode() == AppMode::exporting;
    if (std::exchange(isShown_, isShown) == isShown) return;
    if (!isShown || app_.isExporting() || isCancelling_) return;
    settings_ = {};
    exportComplete_ = false;
    exportedURL_.reset();
    filename_ = QString::fromStdString(app_.exportFilename());
    settings_.customFilename = sanitizedFilename(app_.exportFilename());
    emit settingsChanged();
    emit pageChanged();
}

void ExportModel::exportingChanged() {
    if (app_.isExporting()) running_.start();
    emit pageChanged();
}

void ExportModel::exportEnded() {
    isCancelling_ = false;
    exportComplete_ = !app_.exportError();
    if (exportComplete_) exportedURL_ = app_.currentRecordingURL();
    emit pageChanged();
}

ExportModel::Page ExportModel::page() const {
    if (app_.isExporting() || isCancelling_) return Page::Rendering;
    return exportComplete_ ? Page::Done : Page::Configure;
}

void ExportModel::setFilename(const QString& filename) {
    if (filename_ == filename) return;
    filename_ = filename;
    settings_.customFilename = sanitizedFilename(filename.toStdString());
    emit settingsChanged();
}

QString ExportModel::destination() const {
    return QString::fromStdString(settings_.outputURL().string());
}

std::optional<CGSize> ExportModel::sourceSize() const {
    if (!app_.currentProject()) return std::nullopt;
    return app_.currentProject()->recordingSession.renderSize;
}

QString ExportModel::resolutionText() const {
    const ExportPresetInfo& preset = info(settings_.preset);
    const std::optional<CGSize> size = preset.targetSize ? preset.targetSize : sourceSize();
    const QString name = textOf(preset.subtitle);
    return size ? QString("%1 (%2)").arg(sizeText(*size), name) : name;
}

QVariantList ExportModel::technicalRows() const {
    const int recorded = app_.currentProject() ? app_.currentProject()->recordingSession.frameRate : 0;
    const int rate = exportFrameRate(settings_.frameRate.value_or(recorded));
    return {row("Format", "MP4"), row("Resolution", resolutionText()),
            row("Frame Rate", QString("%1 fps").arg(rate)), row("Codec", codecText())};
}

std::vector<ExportPreset> ExportModel::offeredPresets() const {
    const CGSize size = sourceSize().value_or(CGSize{});
    return availablePresets(size.width, size.height);
}

QVariantList ExportModel::presets() const {
    QVariantList rows;
    for (const ExportPreset preset : offeredPresets()) {
        const ExportPresetInfo& shown = info(preset);
        const std::optional<CGSize> size = shown.targetSize ? shown.targetSize : sourceSize();
        const QString subtitle =
            size ? QString("%1p Quality").arg(std::lround(size->height)) : QString("Default Quality");
        rows.append(QVariantMap{{"title", textOf(shown.label)},
                                {"subtitle", subtitle},
                                {"symbol", symbolOf(preset)},
                                {"isSelected", preset == settings_.preset}});
    }
    return rows;
}

QString ExportModel::totalDuration() const {
    const auto& project = app_.currentProject();
    const double seconds = project ? clampedSeconds(project->totalDuration()) : 0;
    const auto whole = static_cast<long long>(seconds);
    return QString::fromStdString(fmt::format("{:02}:{:02}", whole / 60, whole % 60));
}

QString ExportModel::errorText() const {
    return QString::fromStdString(app_.exportError().value_or(""));
}

QString ExportModel::percentage() const {
    return QString::asprintf("%.0f%%", progress() * 100);
}

QString ExportModel::timeLeft() const {
    return running_.isValid() ? timeLeftText(static_cast<double>(running_.elapsed()) / 1000, progress())
                              : QString();
}

QString ExportModel::finalizingText() const {
    return QString("Finalizing %1 Delivery").arg(textOf(info(settings_.preset).label));
}

QString ExportModel::exportedPath() const {
    return exportedURL_ ? QString::fromStdString(exportedURL_->string()) : QString();
}

QString ExportModel::exportedFolder() const {
    return exportedURL_ ? QString::fromStdString(exportedURL_->parent().string()) : QString();
}

void ExportModel::toggleAudio() {
    settings_.includeAudio = !settings_.includeAudio;
    emit settingsChanged();
}

void ExportModel::selectPreset(int row) {
    const std::vector<ExportPreset> offered = offeredPresets();
    if (row < 0 || static_cast<std::size_t>(row) >= offered.size()) return;
    settings_.preset = offered[static_cast<std::size_t>(row)];
    emit settingsChanged();
}

void ExportModel::start() {
    if (page() == Page::Configure) app_.startExport(settings_);
}

void ExportModel::cancel() {
    if (page() != Page::Rendering || isCancelling_) return;
    isCancelling_ = true;
    emit pageChanged();
    app_.cancelExport();
}

void ExportModel::backToEditor() {
    exportComplete_ = false;
    app_.enterEditor();
    emit pageChanged();
}

}  // namespace varnelle
