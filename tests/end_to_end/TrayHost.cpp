#include "end_to_end/TrayHost.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QObject>
#include <mutex>

#include "support/Waiting.h"

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

    /// The service of the item; empty until one has come.
    [[nodiscard]] QString item() const {
        const std::lock_guard lock(mutex_);
        return item_;
    }

    QDBusConnection bus;

public slots:
    void RegisterStatusNotifierItem(const QString& service) {
        const std::lock_guard lock(mutex_);
        item_ = service.startsWith('/') ? message().service() : service;
    }

private:
    mutable std::mutex mutex_;
    QString item_;  // guarded by mutex_
};

/// The watcher answers from a thread of its own, whatever the test waits for.
TrayHost::TrayHost() : watcher_(std::make_unique<Watcher>()) {
    watcher_->moveToThread(&thread_);
    thread_.start();
}

TrayHost::~TrayHost() {
    thread_.quit();
    thread_.wait();
}

bool TrayHost::activateItem() const {
    if (!waitUntil([this] { return !watcher_->item().isEmpty(); }, std::chrono::seconds(30))) return false;
    QDBusMessage call = QDBusMessage::createMethodCall(watcher_->item(), "/StatusNotifierItem",
                                                       "org.kde.StatusNotifierItem", "Activate");
    call << 0 << 0;
    return watcher_->bus.call(call).type() == QDBusMessage::ReplyMessage;
}

}  // namespace varnelle::test

#include "TrayHost.moc"
