#pragma once

#include <QDBusServiceWatcher>
#include <QQmlEngine>
#include <memory>

#include "capture_ui/RecordingIndicatorModel.h"

namespace varnelle {

/// The program's item in the desktop's tray (by the StatusNotifierItem protocol,
/// https://www.freedesktop.org/wiki/Specifications/StatusNotifierItem/), there while a recording runs
/// and the desktop has a tray. Main thread.
class TrayItem final : public QObject {
    Q_OBJECT

public:
    TrayItem(QQmlEngine& engine, AppState& app);
    ~TrayItem() override;

private:
    void setHasTray(bool hasTray);
    void sync();

    QQmlEngine& engine_;
    AppState& app_;
    RecordingIndicatorModel model_;
    QDBusServiceWatcher tray_;
    bool hasTray_ = false;
    std::unique_ptr<QObject> item_;
};

}  // namespace varnelle
