#include "ui/ShadowItem.h"

#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <vector>

#include "imaging/ShadowField.h"

namespace varnelle {

ShadowItem::ShadowItem(QQuickItem* parent) : QQuickPaintedItem(parent) {
    connect(this, &ShadowItem::changed, this, [this] { update(); });
}

void ShadowItem::paint(QPainter* painter) {
    // A shadow holds no detail: one sample a point is enough at every scale.
    QImage picture(static_cast<int>(std::ceil(width())), static_cast<int>(std::ceil(height())),
                   QImage::Format_Alpha8);
    const double inner = width() - 2 * extent();
    if (picture.isNull() || inner <= 0 || height() - 2 * extent() <= 0) return;
    const BlurredRoundedRect shadow({{extent(), extent()}, {inner, height() - 2 * extent()}}, cornerRadius_,
                                    blur_, {{0, 0}, {width(), height()}}, picture.width());
    std::vector<float> row(static_cast<std::size_t>(picture.width()));
    for (int y = 0; y < picture.height(); ++y) {
        std::fill(row.begin(), row.end(), 0.0F);
        shadow.addRow(y, 0, picture.width(), 1.0F, row.data());
        uchar* pixels = picture.scanLine(y);
        for (std::size_t x = 0; x < row.size(); ++x) {
            pixels[x] = static_cast<uchar>(std::lround(255 * std::clamp(row[x], 0.0F, 1.0F)));
        }
    }
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(QRectF(0, 0, picture.width(), picture.height()), picture);
}

}  // namespace varnelle
