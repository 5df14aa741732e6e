#pragma once

#include <QtQml/qqmlregistration.h>
#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QUrl>
#include <QVariantList>
#include <optional>

#include "app/AppState.h"

namespace varnelle {

/// How much longer an export takes, as a sentence, from what has passed; empty as long as that says too
/// little.
QString timeLeftText(double elapsedSeconds, double progress);

/// The export view: the settings being composed, the export that runs, the finished movie. Main thread.
class ExportModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the main window")
    Q_PROPERTY(Page page READ page NOTIFY pageChanged)
    Q_PROPERTY(QString filename READ filename WRITE setFilename NOTIFY settingsChanged)
    /// What the movie will be called, with its folder.
    Q_PROPERTY(QString destination READ destination NOTIFY settingsChanged)
    Q_PROPERTY(bool includeAudio READ includeAudio NOTIFY settingsChanged)
    /// Read-only rows: "title" and "value".
    Q_PROPERTY(QVariantList technicalRows READ technicalRows NOTIFY settingsChanged)
    /// Rows to choose from: "title", "subtitle", "symbol", "isSelected".
    Q_PROPERTY(QVariantList presets READ presets NOTIFY settingsChanged)
    Q_PROPERTY(QString totalDuration READ totalDuration NOTIFY settingsChanged)
    Q_PROPERTY(QString errorText READ errorText NOTIFY errorChanged)
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged)
    Q_PROPERTY(QString percentage READ percentage NOTIFY progressChanged)
    Q_PROPERTY(QString timeLeft READ timeLeft NOTIFY progressChanged)
    Q_PROPERTY(QString finalizingText READ finalizingText NOTIFY settingsChanged)
    /// The export was asked to end, but hasn't yet.
    Q_PROPERTY(bool isCancelling READ isCancelling NOTIFY pageChanged)
    Q_PROPERTY(QString exportedPath READ exportedPath NOTIFY pageChanged)

public:
    // Capitals, without which QML doesn't see them.
    enum class Page { Configure, Rendering, Done };
    Q_ENUM(Page)

    /// `app` must outlive the object.
    explicit ExportModel(AppState& app);

    [[nodiscard]] Page page() const;
    [[nodiscard]] const QString& filename() const { return filename_; }
    /// As typed; what of it makes a file name is used.
    void setFilename(const QString& filename);
    [[nodiscard]] QString destination() const;
    [[nodiscard]] bool includeAudio() const { return settings_.includeAudio; }
    [[nodiscard]] QVariantList technicalRows() const;
    [[nodiscard]] QVariantList presets() const;
    [[nodiscard]] QString totalDuration() const;
    [[nodiscard]] QString errorText() const;
    [[nodiscard]] double progress() const { return app_.exportProgress(); }
    [[nodiscard]] QString percentage() const;
    [[nodiscard]] QString timeLeft() const;
    [[nodiscard]] QString finalizingText() const;
    [[nodiscard]] bool isCancelling() const { return isCancelling_; }
    [[nodiscard]] QString exportedPath() const;

    Q_INVOKABLE void toggleAudio();
    Q_INVOKABLE void selectPreset(int row);
    Q_INVOKABLE void start();
    Q_INVOKABLE void cancel();
    /// Opens the folder that the movie is in.
    Q_INVOKABLE void showInFolder() { emit folderWanted(QUrl::fromLocalFile(exportedFolder())); }
    Q_INVOKABLE void backToEditor();

signals:
    void pageChanged();
    void settingsChanged();
    void errorChanged();
    void progressChanged();
    void folderWanted(const QUrl& folder);

private:
    void enter();
    void projectChanged();
    void exportingChanged();
    void exportEnded();
    [[nodiscard]] QString resolutionText() const;
    [[nodiscard]] std::vector<ExportPreset> offeredPresets() const;
    [[nodiscard]] std::optional<CGSize> sourceSize() const;
    [[nodiscard]] QString exportedFolder() const;

    AppState& app_;
    ExportSettings settings_;
    QString filename_;
    bool exportComplete_ = false;
    std::optional<URL> exportedURL_;
    bool isCancelling_ = false;
    bool isShown_ = false;
    QElapsedTimer running_;
};

}  // namespace varnelle
