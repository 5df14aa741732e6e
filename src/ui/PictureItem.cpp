#include "ui/PictureItem.h"

#include <QPainter>

namespace varnelle {

void PictureItem::setImage(const QImage& image) {
    if (image_ == image) return;
    image_ = image;
    emit imageChanged();
    update();
}

void PictureItem::paint(QPainter* painter) {
    if (image_.isNull()) return;
    const QSizeF fitted = QSizeF(image_.size()).scaled(size(), Qt::KeepAspectRatio);
    const QRectF place({(width() - fitted.width()) / 2, (height() - fitted.height()) / 2}, fitted);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(place, image_);
}

}  // namespace varnelle
