#pragma once

#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <functional>
#include <vector>

#include "foundation/URL.h"

namespace varnelle {

/// The program on the session bus, as `org.freedesktop.Application`: what makes it one running instance, and
/// how file managers hand it files. The freedesktop.org project describes the interface under "D-Bus
/// Activation". Without a session bus each start is an instance of its own. Main thread.
class ApplicationService final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    struct Handlers {
        std::function<void()> onActivate;  ///< the user has asked for the program again
        std::function<void(const std::vector<URL>&)> onOpen;
    };

    enum class Role {
        first,   ///< this is the instance that goes on
        second,  ///< another one runs; it has been handed the files and brought to the front
    };

    /// Claims the program's name on the bus. If another instance has it, hands `files` over (or asks it to
    /// come to the front if there are none) and waits for its answer for at most five seconds; one that
    /// doesn't answer is left alone and this is the first.
    explicit ApplicationService(const std::vector<URL>& files);
    ~ApplicationService() override;

    [[nodiscard]] Role role() const { return role_; }
    /// From here on requests are handed on; those that came before are handed on now.
    void setHandlers(Handlers handlers);
    /// Gives the name back and answers nobody any more; also done at the object's end.
    void leave();

public slots:
    Q_SCRIPTABLE void Activate(const QVariantMap& platformData);
    Q_SCRIPTABLE void Open(const QStringList& uris, const QVariantMap& platformData);
    Q_SCRIPTABLE void ActivateAction(const QString& action, const QVariantList& parameter,
                                     const QVariantMap& platformData);

private:
    Role role_ = Role::first;
    Handlers handlers_;
    std::vector<URL> waitingFiles_;
    bool isActivationWaiting_ = false;
};

}  // namespace varnelle
