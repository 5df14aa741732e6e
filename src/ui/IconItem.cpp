#include "ui/IconItem.h"

#include <QFile>
#include <QLinearGradient>
#include <QPainter>
#include <QSvgRenderer>

#include "foundation/Log.h"

namespace varnelle {

IconItem::IconItem(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setImplicitSize(18, 18);
    setAntialiasing(true);
    setFlag(ItemHasContents);
}

void IconItem::setName(const QString& name) {
    if (name_ == name) return;
    name_ = name;
    emit nameChanged();
    update();
}

void IconItem::setColor(const QColor& color) {
    if (color_ == color) return;
    color_ = color;
    emit colorChanged();
    update();
}

void IconItem::setLowerColor(const QColor& color) {
    if (lowerColor_ == color) return;
    lowerColor_ = color;
    emit colorChanged();
    update();
}

void IconItem::setSize(double size) {
    if (implicitWidth() == size) return;
    setImplicitSize(size, size);
    emit sizeChanged();
    update();
}

void IconItem::paint(QPainter* painter) {
    if (name_.isEmpty()) return;
    QSvgRenderer drawing(":/icons/" + name_ + ".svg");
    if (!drawing.isValid()) {
        logger(LogCategory::app).error("There is no icon \"{}\"", name_.toStdString());
        return;
    }
    painter->setRenderHint(QPainter::Antialiasing);
    const double side = std::min(width(), height());
    const QRectF place((width() - side) / 2, (height() - side) / 2, side, side);
    drawing.render(painter, place);
    // The drawings are white: their coverage takes the colour.
    painter->setCompositionMode(QPainter::CompositionMode_SourceIn);
    QLinearGradient downwards(place.topLeft(), place.bottomLeft());
    downwards.setColorAt(0, color_);
    downwards.setColorAt(1, lowerColor());
    painter->fillRect(boundingRect(), downwards);
}

}  // namespace varnelle
