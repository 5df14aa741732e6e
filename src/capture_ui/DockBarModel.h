#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <cstdint>
#include <string>

#include "app/AppState.h"
#include "app/AppWindows.h"
#include "capture_ui/DockBarItem.h"

namespace varnelle {

/// What the dock bar shows and does: what is recorded, and with which devices. Main thread.
class DockBarModel final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the capture interface")
    Q_PROPERTY(varnelle::DockBarItem* display READ display CONSTANT)
    Q_PROPERTY(varnelle::DockBarItem* window READ window CONSTANT)
    Q_PROPERTY(varnelle::DockBarItem* area READ area CONSTANT)
    Q_PROPERTY(varnelle::DockBarItem* camera READ camera CONSTANT)
    Q_PROPERTY(varnelle::DockBarItem* microphone READ microphone CONSTANT)
    Q_PROPERTY(varnelle::DockBarItem* systemAudio READ systemAudio CONSTANT)
    /// What concerns the program and not the recording.
    Q_PROPERTY(varnelle::MenuModel* programMenu READ programMenu CONSTANT)

public:
    /// Both must outlive the object.
    DockBarModel(AppState& app, AppWindows& windows);

    [[nodiscard]] DockBarItem* display() { return &display_; }
    [[nodiscard]] DockBarItem* window() { return &window_; }
    [[nodiscard]] DockBarItem* area() { return &area_; }
    [[nodiscard]] DockBarItem* camera() { return &camera_; }
    [[nodiscard]] DockBarItem* microphone() { return &microphone_; }
    [[nodiscard]] DockBarItem* systemAudio() { return &systemAudio_; }

    /// Chooses a kind of source on the bar's screen; the one that is chosen already is given up.
    Q_INVOKABLE void pressDisplay() { press(RecordingType::display); }
    Q_INVOKABLE void pressArea() { press(RecordingType::area); }
    /// Starts a recording of what is chosen.
    Q_INVOKABLE void toggleRecording() { app_.toggleRecording(); }
    [[nodiscard]] MenuModel* programMenu() { return &programMenu_; }
    Q_INVOKABLE void openProject() { windows_.chooseProject(); }
    /// Quits the program, as far as it may.
    Q_INVOKABLE void close() { windows_.requestQuit(); }
    /// The bar has been moved to another screen.
    void dockBarScreenChanged();

private:
    void press(RecordingType type);
    void chooseWindow(const ShareableWindow& window);
    void makeProgramMenu();
    void updateSourceModes();
    void updateWindowMenu();
    void updateDevices();
    void updateCamera();
    void updateMicrophone();
    void updateSystemAudio();

    AppState& app_;
    CaptureSources& sources_;
    AppWindows& windows_;
    MenuModel programMenu_;
    DockBarItem display_{DockBarItem::Press::act, this};
    DockBarItem window_{DockBarItem::Press::openMenu, this};
    DockBarItem area_{DockBarItem::Press::act, this};
    DockBarItem camera_{DockBarItem::Press::openMenu, this};
    DockBarItem microphone_{DockBarItem::Press::openMenu, this};
    DockBarItem systemAudio_{DockBarItem::Press::openMenu, this};
};

}  // namespace varnelle
