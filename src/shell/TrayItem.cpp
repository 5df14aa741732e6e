#include "shell/TrayItem.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QQmlComponent>

#include "foundation/Log.h"

namespace varnelle {
namespace {

bool hasTray() {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() && bus.interface()->isServiceRegistered("org.kde.StatusNotifierWatcher");
}

}  // namespace

TrayItem::TrayItem(QQmlEngine& engine, AppState& app) : engine_(engine), app_(app), model_(app) {
    connect(&app.recordingFlow(), &RecordingFlow::isRecordingMenuBarVisibleChanged, this, &TrayItem::sync);
}

TrayItem::~TrayItem() = default;

void TrayItem::sync() {
    if (!app_.recordingFlow().isRecordingMenuBarVisible()) {
        // Its own menu may have brought this about.
        if (item_) item_.release()->deleteLater();
        return;
    }
    if (!hasTray()) return;
    QQmlComponent component(&engine_, QUrl("qrc:/qt/qml/Varnelle/Shell/TrayView.qml"));
    item_.reset(component.createWithInitialProperties({{"model", QVariant::fromValue(&model_)}}));
    if (!item_) {
        logger(LogCategory::app).error("No tray item: {}", component.errorString().toStdString());
    }
}

}  // namespace varnelle
