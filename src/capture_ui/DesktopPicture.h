#pragma once

#include <QFutureWatcher>
#include <QImage>
#include <QObject>
#include <QRect>
#include <functional>

#include "foundation/Queue.h"
#include "platform/DesktopPlatform.h"

namespace varnelle {

/// Takes pictures of the desktop in the background, one at a time. They stand behind panels where windows
/// aren't composited, and what is transparent would be black. Main thread.
class DesktopPicture final : public QObject {
    Q_OBJECT

public:
    /// `platform` must outlive the object.
    explicit DesktopPicture(DesktopPlatform& platform);
    ~DesktopPicture() override;

    /// Takes a picture of a rectangle in the interface's places, and calls `taken` with it: null if it can't
    /// be had. A picture that is on its way is given up.
    void take(const QRect& frame, std::function<void(const QImage&)> taken);
    void cancel();

private:
    DesktopPlatform& platform_;
    std::function<void(const QImage&)> taken_;
    QFutureWatcher<QImage> taking_;
    SerialQueue queue_{"com.varnelle.backdrop"};
};

}  // namespace varnelle
