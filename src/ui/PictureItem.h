#pragma once

#include <QtQml/qqmlregistration.h>
#include <QImage>
#include <QQuickPaintedItem>

namespace varnelle {

/// Makes pictures known to QML, as values that go from a view model to an item.
struct PictureValue {
    Q_GADGET
    QML_FOREIGN(QImage)
    QML_VALUE_TYPE(picture)
};

/// A picture that a view model holds, fitted into the item and centred.
class PictureItem : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QImage image READ image WRITE setImage NOTIFY imageChanged)

public:
    using QQuickPaintedItem::QQuickPaintedItem;

    [[nodiscard]] const QImage& image() const { return image_; }
    void setImage(const QImage& image);
    void paint(QPainter* painter) override;

signals:
    void imageChanged();

private:
    QImage image_;
};

}  // namespace varnelle
