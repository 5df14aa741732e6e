#pragma once

#include <QFuture>
#include <QObject>
#include <memory>

#include "foundation/Queue.h"
#include "platform/DesktopPlatform.h"

namespace varnelle {

/// The chord that ends a recording whatever program has the keyboard: Control, Alt and R. It is asked for in
/// the background, since the desktop may take its time to grant it. Main thread.
class StopShortcut final : public QObject {
    Q_OBJECT

public:
    /// `platform` must outlive the object.
    explicit StopShortcut(DesktopPlatform& platform);
    ~StopShortcut() override;

    void setActive(bool isActive);

signals:
    void pressed();

private:
    DesktopPlatform& platform_;
    bool isActive_ = false;
    QFuture<std::unique_ptr<GlobalShortcut>> shortcut_;  ///< lives as long as this holds it
    SerialQueue queue_{"com.varnelle.shortcut"};
};

}  // namespace varnelle
