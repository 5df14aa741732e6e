#include "end_to_end/TrayHost.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QObject>
#include <cstdlib>

namespace varnelle::test {

class TrayHost::Watcher final : public QObject, public QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hasHost)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)

public:
    Watcher() : bus(QDBusConnection::connectToBus(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), "tray")) {
        bus.registerObject("/StatusNotifierWatcher", this,
                           QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties);
        bus.registerService("org.kde.StatusNotifierWatcher");
    }
    ~Watcher() override { QDBusConnection::disconnectFromBus("tray"); }

    [[nodiscard]] static bool hasHost() { return true; }
    [[nodiscard]] static int protocolVersion() { return 0; }

    QDBusConnection bus;
    QString item;

public slots:
    void RegisterStatusNotifierItem(const QString& service) {
        item = service.startsWith('/') ? message().service() : service;
    }
};

TrayHost::TrayHost() : watcher_(std::make_unique<Watcher>()) {}

TrayHost::~TrayHost() = default;

bool TrayHost::activateItem() const {
    const QDeadlineTimer deadline(30'000);
    while (watcher_->item.isEmpty() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    }
    QDBusMessage call = QDBusMessage::createMethodCall(watcher_->item, "/StatusNotifierItem",
                                                       "org.kde.StatusNotifierItem", "Activate");
    call << 0 << 0;
    return !watcher_->item.isEmpty() && watcher_->bus.call(call).type() == QDBusMessage::ReplyMessage;
}

}  // namespace varnelle::test

#include "TrayHost.moc"
