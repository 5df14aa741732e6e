#pragma once

#include <QtQml/qqmlregistration.h>
#include <QImage>
#include <QObject>

#include "app/AppState.h"
#include "foundation/Queue.h"

namespace varnelle {

/// What the main window shows for each mode, and does. Main thread.
class MainViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the main window")
    Q_PROPERTY(Content content READ content NOTIFY contentChanged)
    Q_PROPERTY(QString projectName READ projectName NOTIFY projectChanged)
    Q_PROPERTY(bool hasProject READ hasProject NOTIFY projectChanged)
    /// The project's first frame; null until it has been made, and if it can't be.
    Q_PROPERTY(QImage poster READ poster NOTIFY posterChanged)
    /// Why there is no poster; empty if there is one, or not yet.
    Q_PROPERTY(QString posterFailure READ posterFailure NOTIFY posterChanged)
    Q_PROPERTY(QString recordingTime READ recordingTime NOTIFY recordingTimeChanged)
    Q_PROPERTY(bool isExporting READ isExporting NOTIFY exportChanged)
    Q_PROPERTY(double exportProgress READ exportProgress NOTIFY exportChanged)
    Q_PROPERTY(QString exportError READ exportError NOTIFY exportChanged)
    Q_PROPERTY(QString exportedPath READ exportedPath NOTIFY exportChanged)

public:
    // Capitals, without which QML doesn't see them.
    enum class Content { None, Recording, Editor, ExportView };
    Q_ENUM(Content)

    /// `app` must outlive the object.
    explicit MainViewModel(AppState& app);

    [[nodiscard]] Content content() const;
    [[nodiscard]] bool hasProject() const { return app_.currentProject().has_value(); }
    [[nodiscard]] QString projectName() const;
    [[nodiscard]] const QImage& poster() const { return poster_; }
    [[nodiscard]] const QString& posterFailure() const { return posterFailure_; }
    [[nodiscard]] QString recordingTime() const;
    [[nodiscard]] bool isExporting() const { return app_.isExporting(); }
    [[nodiscard]] double exportProgress() const { return app_.exportProgress(); }
    [[nodiscard]] QString exportError() const;
    /// The movie of the last export; empty if there is none.
    [[nodiscard]] QString exportedPath() const;

    Q_INVOKABLE void toggleRecording() { app_.toggleRecording(); }
    Q_INVOKABLE void newRecording() { app_.requestProjectTransition(NewRecording{}); }
    Q_INVOKABLE void showExportView();
    Q_INVOKABLE void enterEditor() { app_.enterEditor(); }
    /// Exports with the settings that a new export starts with.
    Q_INVOKABLE void startExport();
    Q_INVOKABLE void cancelExport() { app_.cancelExport(); }

signals:
    void contentChanged();
    void projectChanged();
    void posterChanged();
    void recordingTimeChanged();
    void exportChanged();

private:
    void projectReplaced();
    QCoro::Task<> paintPoster(Project project);

    AppState& app_;
    std::optional<UUID> posterProjectID_;  ///< the project whose poster is shown or on its way
    QImage poster_;
    QString posterFailure_;
    SerialQueue queue_{"com.varnelle.poster"};
};

}  // namespace varnelle
