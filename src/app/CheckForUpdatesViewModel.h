#pragma once

#include <QObject>

#include "app/Updater.h"

namespace varnelle {

/// The menu item "Check for Updates…". Takes over the updater's callback. Main thread.
class CheckForUpdatesViewModel final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY canCheckForUpdatesChanged)

public:
    explicit CheckForUpdatesViewModel(Updater& updater);
    ~CheckForUpdatesViewModel() override;

    [[nodiscard]] bool canCheckForUpdates() const { return _canCheckForUpdates; }
    Q_INVOKABLE void checkForUpdates();

signals:
    void canCheckForUpdatesChanged();

private:
    Updater& updater_;
    bool _canCheckForUpdates;
};

}  // namespace varnelle
