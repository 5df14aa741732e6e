#pragma once

#include <QtQml/qqmlregistration.h>
#include <QQuickPaintedItem>

namespace varnelle {

/// The soft black shadow of a rounded rectangle; its strength is the item's opacity. The item is larger than
/// the rectangle by `extent` on each side: put it around with `anchors.margins: -extent`.
class ShadowItem : public QQuickPaintedItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(Shadow)
    /// Standard deviation of the blur in points.
    Q_PROPERTY(double blur MEMBER blur_ NOTIFY changed)
    /// Corner radius in points.
    Q_PROPERTY(double cornerRadius MEMBER cornerRadius_ NOTIFY changed)
    /// How far the shadow reaches beyond the rectangle, in points.
    Q_PROPERTY(double extent READ extent NOTIFY changed)

public:
    explicit ShadowItem(QQuickItem* parent = nullptr);
    void paint(QPainter* painter) override;
    [[nodiscard]] double extent() const { return 3 * blur_; }

signals:
    void changed();

private:
    double blur_ = 8;
    double cornerRadius_ = 12;
};

}  // namespace varnelle
