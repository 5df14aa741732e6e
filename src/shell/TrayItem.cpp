#include "shell/TrayItem.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QQmlComponent>

#include "foundation/Log.h"

namespace varnelle {
namespace {

constexpr const char* kTrayService = "org.kde.StatusNotifierWatcher";

}  // namespace

TrayItem::TrayItem(QQmlEngine& engine, AppState& app)
    : engine_(engine), app_(app), model_(app), tray_(kTrayService, QDBusConnection::sessionBus()) {
    connect(&tray_, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) { setHasTray(!owner.isEmpty()); });
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        auto* answer =
            new QDBusPendingCallWatcher(bus.interface()->asyncCall("NameHasOwner", kTrayService), this);
        connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
            const QDBusPendingReply<bool> reply = *answer;
            answer->deleteLater();
            if (reply.isValid()) setHasTray(reply.value());
        });
    }
    connect(&app.recordingFlow(), &RecordingFlow::isRecordingMenuBarVisibleChanged, this, &TrayItem::sync);
}

TrayItem::~TrayItem() = default;

void TrayItem::setHasTray(bool hasTray) {
    hasTray_ = hasTray;
    sync();
}

void TrayItem::sync() {
    if (!hasTray_ || !app_.recordingFlow().isRecordingMenuBarVisible()) {
        // Its own menu may have brought this about.
        if (item_) item_.release()->deleteLater();
        return;
    }
    if (item_) return;
    QQmlComponent component(&engine_, QUrl("qrc:/qt/qml/Varnelle/Shell/TrayView.qml"));
    item_.reset(component.createWithInitialProperties({{"model", QVariant::fromValue(&model_)}}));
    if (!item_) {
        logger(LogCategory::app).error("No tray item: {}", component.errorString().toStdString());
    }
}

}  // namespace varnelle
