#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

#include "app/AppState.h"
#include "app/CheckForUpdatesViewModel.h"
#include "ui/MenuModel.h"

namespace varnelle {

/// What the main window shows for each mode, and the program's menu. Main thread.
class MainViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the main window")
    Q_PROPERTY(Content content READ content NOTIFY contentChanged)
    Q_PROPERTY(bool hasProject READ hasProject NOTIFY hasProjectChanged)
    Q_PROPERTY(QString recordingTime READ recordingTime NOTIFY recordingTimeChanged)
    Q_PROPERTY(varnelle::MenuModel* programMenu READ programMenu CONSTANT)

public:
    // Capitals, without which QML doesn't see them.
    enum class Content { None, Recording, Editor, ExportView };
    Q_ENUM(Content)

    /// All must outlive the object.
    MainViewModel(AppState& app, AppWindows& windows, CheckForUpdatesViewModel& updates);

    [[nodiscard]] Content content() const;
    [[nodiscard]] bool hasProject() const { return app_.currentProject().has_value(); }
    [[nodiscard]] QString recordingTime() const;
    [[nodiscard]] MenuModel* programMenu() { return &programMenu_; }

    Q_INVOKABLE void toggleRecording() { app_.toggleRecording(); }
    Q_INVOKABLE void showExportView();
    Q_INVOKABLE void openProject() { windows_.chooseProject(); }

signals:
    void contentChanged();
    void hasProjectChanged();
    void recordingTimeChanged();
    /// The menu's "Save".
    void saveWanted();

private:
    void updateMenu();

    AppState& app_;
    AppWindows& windows_;
    CheckForUpdatesViewModel& updates_;
    MenuModel programMenu_;
};

}  // namespace varnelle
