#pragma once

#include <QtQml/qqmlregistration.h>
#include <QCoro/QCoroTask>
#include <QImage>
#include <QObject>
#include <cstdint>
#include <optional>

#include "app/CaptureSources.h"
#include "foundation/Queue.h"
#include "platform/DesktopPlatform.h"

namespace varnelle {

/// What the overlay over the chosen window tells of it. Main thread; icons are read on a queue of its own.
class WindowSelectionModel final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the capture interface")
    Q_PROPERTY(bool hasWindow READ hasWindow NOTIFY changed)
    Q_PROPERTY(QString applicationName READ applicationName NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString sizeText READ sizeText NOTIFY changed)
    Q_PROPERTY(QImage icon READ icon NOTIFY iconChanged)
    Q_PROPERTY(bool hasIcon READ hasIcon NOTIFY iconChanged)

public:
    static constexpr int kIconPoints = 120;

    /// Both must outlive the object.
    WindowSelectionModel(const CaptureSources& sources, DesktopPlatform& platform);

    [[nodiscard]] bool hasWindow() const { return sources_.selectedWindow().has_value(); }
    [[nodiscard]] QString applicationName() const;
    [[nodiscard]] QString title() const;
    [[nodiscard]] QString sizeText() const;
    /// Null until it has been read, and if the window has none.
    [[nodiscard]] const QImage& icon() const { return _icon; }
    [[nodiscard]] bool hasIcon() const { return !_icon.isNull(); }

signals:
    void changed();
    void iconChanged();

private:
    void follow();
    QCoro::Task<> readIcon(ShareableWindow window);
    void setIcon(const QImage& icon);

    const CaptureSources& sources_;
    DesktopPlatform& platform_;
    std::optional<std::uint32_t> iconWindowID_;  ///< the window whose icon is shown or on its way
    QImage _icon;
    SerialQueue queue_{"com.varnelle.icons"};
};

}  // namespace varnelle
