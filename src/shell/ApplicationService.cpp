#include "shell/ApplicationService.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>
#include <QUrl>
#include <utility>

#include "foundation/Log.h"

namespace varnelle {
namespace {

constexpr const char* kServiceName = "com.varnelle.Varnelle";
constexpr const char* kObjectPath = "/com/varnelle/Varnelle";
constexpr const char* kInterface = "org.freedesktop.Application";
constexpr int kAnswerTimeoutMilliseconds = 5000;

/// True if the instance that holds the name has taken the request.
bool handOver(const QDBusConnection& bus, const std::vector<URL>& files) {
    QDBusMessage call = QDBusMessage::createMethodCall(kServiceName, kObjectPath, kInterface,
                                                       files.empty() ? "Activate" : "Open");
    if (!files.empty()) {
        QStringList uris;
        for (const URL& file : files) {
            uris << QUrl::fromLocalFile(QString::fromStdString(file.string())).toString(QUrl::FullyEncoded);
        }
        call << uris;
    }
    call << QVariantMap();
    const QDBusMessage answer = bus.call(call, QDBus::Block, kAnswerTimeoutMilliseconds);
    return answer.type() == QDBusMessage::ReplyMessage;
}

}  // namespace

ApplicationService::ApplicationService(const std::vector<URL>& files) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return;
    // The object first: whoever sees the name may call at once.
    bus.registerObject(kObjectPath, this, QDBusConnection::ExportScriptableSlots);
    if (bus.registerService(kServiceName)) return;
    if (handOver(bus, files)) {
        role_ = Role::second;
    } else if (!bus.registerService(kServiceName)) {  // it may have been about to end
        logger(LogCategory::app).error("Another instance holds the program's name but doesn't answer");
    }
}

ApplicationService::~ApplicationService() {
    leave();
}

void ApplicationService::leave() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterObject(kObjectPath);
    if (role_ == Role::first) bus.unregisterService(kServiceName);
}

void ApplicationService::setHandlers(Handlers handlers) {
    handlers_ = std::move(handlers);
    if (!waitingFiles_.empty()) handlers_.onOpen(std::exchange(waitingFiles_, {}));
    if (std::exchange(isActivationWaiting_, false)) handlers_.onActivate();
}

void ApplicationService::Activate(const QVariantMap&) {
    if (handlers_.onActivate) {
        handlers_.onActivate();
    } else {
        isActivationWaiting_ = true;
    }
}

void ApplicationService::Open(const QStringList& uris, const QVariantMap&) {
    std::vector<URL> files;
    for (const QString& uri : uris) {
        const QUrl url(uri);
        if (url.isLocalFile()) files.emplace_back(url.toLocalFile().toStdString());
    }
    if (handlers_.onOpen) {
        handlers_.onOpen(files);
    } else {
        waitingFiles_.insert(waitingFiles_.end(), files.begin(), files.end());
    }
}

void ApplicationService::ActivateAction(const QString&, const QVariantList&,
                                        const QVariantMap& platformData) {
    Activate(platformData);  // the program has no actions of its own
}

}  // namespace varnelle
