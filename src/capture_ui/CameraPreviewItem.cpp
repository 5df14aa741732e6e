#include "capture_ui/CameraPreviewItem.h"

#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QQuickWindow>
#include <algorithm>
#include <cmath>
#include <utility>

#include "capture_ui/CameraPreviewHub.h"
#include "render/BubblePainter.h"
#include "render/PlanarFrame.h"

namespace varnelle {
namespace {

/// The camera's picture filling a square, the way the movie's bubble is filled.
QImage squarePicture(const VideoFrame& frame, int sidePixels, bool isMirrored) {
    const CGSize canvas{static_cast<double>(sidePixels), static_cast<double>(sidePixels)};
    FramePlan plan;
    plan.canvas = canvas;
    plan.bubble = FramePlan::Bubble{{{0, 0}, canvas}, 0, isMirrored, std::nullopt, false};
    BubbleShadowCache noShadows(1);
    BubblePainter painter(plan, planarPicture(frame), noShadows);
    QImage picture(sidePixels, sidePixels, QImage::Format_RGB32);
    picture.fill(Qt::black);
    for (int y = 0; y < sidePixels; ++y) painter.paintRow(y, picture.scanLine(y));
    return picture;
}

}  // namespace

CameraPreviewItem::CameraPreviewItem(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(true);
    connect(this, &QQuickItem::widthChanged, this, &CameraPreviewItem::updateRequest);
    connect(this, &QQuickItem::windowChanged, this, &CameraPreviewItem::updateRequest);
    connect(this, &CameraPreviewItem::shapeChanged, this, &CameraPreviewItem::updateRequest);
    connect(this, &CameraPreviewItem::shapeChanged, this, [this] { update(); });
}

CameraPreviewItem::~CameraPreviewItem() {
    if (hub_) hub_->watch({});
}

void CameraPreviewItem::setHub(std::shared_ptr<CameraPreviewHub> hub) {
    hub_ = std::move(hub);
    showPicture({});
    const auto deliver = [self = QPointer(this), request = request_](const VideoFrame& frame) {
        const int side = request->sidePixels;
        if (side <= 0 || request->isPictureOnItsWay.exchange(true)) return;
        const QImage picture = squarePicture(frame, side, request->isMirrored);
        QMetaObject::invokeMethod(qApp, [self, request, picture] {
            request->isPictureOnItsWay = false;
            if (self) self->showPicture(picture);
        });
    };
    hub_->watch(deliver);
}

void CameraPreviewItem::updateRequest() {
    const double scale = window() != nullptr ? window()->effectiveDevicePixelRatio() : 1;
    request_->sidePixels = static_cast<int>(std::ceil(width() * scale));
    request_->isMirrored = isMirrored_;
}

void CameraPreviewItem::showPicture(const QImage& picture) {
    picture_ = picture;
    update();
}

void CameraPreviewItem::paint(QPainter* painter) {
    const QRectF square(0, 0, width(), height());
    const double radius = std::clamp(cornerRadiusRatio_, 0.0, 0.5) * width();
    QPainterPath shape;
    shape.addRoundedRect(square, radius, radius);
    painter->setRenderHint(QPainter::Antialiasing);
    if (picture_.isNull()) {
        painter->fillPath(shape, QColor(20, 21, 25));
        return;
    }
    // A brush has soft edges where a clip has none.
    QBrush brush(picture_);
    brush.setTransform(QTransform::fromScale(width() / picture_.width(), height() / picture_.height()));
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->fillPath(shape, brush);
}

}  // namespace varnelle
