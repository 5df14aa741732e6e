#include "editor/PreviewItem.h"

#include <QImage>
#include <QQuickWindow>
#include <QSGImageNode>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "editor/PreviewFrames.h"

namespace varnelle {
namespace {

/// While a window is being resized its frames are stretched. Each new size costs the background anew.
constexpr std::chrono::milliseconds kRestBeforeSize{120};

constexpr std::chrono::milliseconds kLongestDrawing{100};

/// The frame's own pixels as an image; no copy.
QImage imageOf(const VideoFrame& frame) {
    auto* const owner = new VideoFrame(frame);
    const auto release = [](void* held) { delete static_cast<VideoFrame*>(held); };
    return {frame.plane(0).data,  frame.width(), frame.height(), frame.plane(0).bytesPerRow,
            QImage::Format_RGB32, release,       owner};
}

}  // namespace

PreviewItem::PreviewItem(QQuickItem* parent) : QQuickItem(parent) {
    setFlag(ItemHasContents);
    sizeTimer_.setSingleShot(true);
    sizeTimer_.setInterval(kRestBeforeSize);
    connect(&sizeTimer_, &QTimer::timeout, this, &PreviewItem::tellSize);
    drawingTimer_.setSingleShot(true);
    drawingTimer_.setInterval(kLongestDrawing);
    connect(&drawingTimer_, &QTimer::timeout, this, &PreviewItem::windowDrawn);
    watchDrawing(window());
}

PreviewItem::~PreviewItem() {
    watch(nullptr);
}

void PreviewItem::setController(EditorPlaybackController* controller) {
    if (controller_ == controller) return;
    if (controller_) disconnect(controller_, nullptr, this, nullptr);
    controller_ = controller;
    watch(controller != nullptr ? controller->previewFrames() : nullptr);
    if (controller != nullptr) {
        connect(controller, &EditorPlaybackController::previewAspectRatioChanged, this,
                &PreviewItem::updatePictureRect);
    }
    toldPixels_ = {};
    updatePictureRect();
    emit controllerChanged();
}

void PreviewItem::watch(std::shared_ptr<PreviewFrames> frames) {
    if (frames_) frames_->setOnChange({});
    frames_ = std::move(frames);
    if (!frames_) return update();
    frames_->setOnChange([this] {
        // On a thread of the player's. One event is enough until it has been seen.
        if (isUpdatePosted_.exchange(true)) return;
        QMetaObject::invokeMethod(
            this,
            [this] {
                isUpdatePosted_ = false;
                frameArrived();
            },
            Qt::QueuedConnection);
    });
    update();
}

void PreviewItem::watchDrawing(QQuickWindow* window) {
    disconnect(drawingWatch_);
    isDrawing_ = false;
    if (window == nullptr) return;
    // From the thread that draws.
    drawingWatch_ =
        connect(window, &QQuickWindow::frameSwapped, this, &PreviewItem::windowDrawn, Qt::QueuedConnection);
}

void PreviewItem::frameArrived() {
    if (isDrawing_) {
        hasNewFrame_ = true;
        return;
    }
    isDrawing_ = true;
    hasNewFrame_ = false;
    drawingTimer_.start();
    update();
}

void PreviewItem::windowDrawn() {
    isDrawing_ = false;
    drawingTimer_.stop();
    if (hasNewFrame_) frameArrived();
}

void PreviewItem::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    updatePictureRect();
}

void PreviewItem::itemChange(ItemChange change, const ItemChangeData& value) {
    QQuickItem::itemChange(change, value);
    if (change == ItemSceneChange) watchDrawing(value.window);
    if (change == ItemDevicePixelRatioHasChanged || change == ItemSceneChange) updatePictureRect();
}

double PreviewItem::pixelsPerUnit() const {
    return window() != nullptr ? window()->effectiveDevicePixelRatio() : 1;
}

/// Fits the picture in, in whole pixels.
void PreviewItem::updatePictureRect() {
    const double scale = pixelsPerUnit();
    const double aspect = controller_ ? controller_->previewAspectRatio() : 0;
    QRectF rect;
    wantedPixels_ = {};
    if (aspect > 0 && width() > 0 && height() > 0) {
        const double fittedWidth = std::min(width(), height() * aspect) * scale;
        wantedPixels_ = {static_cast<int>(std::floor(fittedWidth)),
                         static_cast<int>(std::floor(fittedWidth / aspect + 1e-6))};
        const QSizeF size = QSizeF(wantedPixels_) / scale;
        rect = QRectF(QPointF((width() - size.width()) / 2, (height() - size.height()) / 2), size);
    }
    if (rect != pictureRect_) {
        pictureRect_ = rect;
        emit pictureRectChanged();
    }
    update();
    if (wantedPixels_ == toldPixels_ || wantedPixels_.isEmpty()) return;
    if (toldPixels_.isEmpty()) {
        tellSize();
    } else {
        sizeTimer_.start();
    }
}

void PreviewItem::tellSize() {
    toldPixels_ = wantedPixels_;
    // The width decides: fitted into its height too, a picture could come out a column too narrow.
    if (controller_) controller_->setPreviewSize({wantedPixels_.width(), wantedPixels_.height() + 1});
}

QSGNode* PreviewItem::updatePaintNode(QSGNode* node, UpdatePaintNodeData*) {
    const VideoFrame frame = frames_ ? frames_->newest() : VideoFrame();
    if (frame.isEmpty() || frame.format() != PixelFormat::bgra || pictureRect_.isEmpty()) {
        delete node;
        drawn_ = {};
        return nullptr;
    }
    auto* imageNode = static_cast<QSGImageNode*>(node);
    if (imageNode == nullptr) {
        imageNode = window()->createImageNode();
        imageNode->setOwnsTexture(true);
        drawn_ = {};
    }
    // Compositors hand an unchanged picture out again.
    if (drawn_.isEmpty() || !drawn_.sharesStorage(frame)) {
        imageNode->setTexture(
            window()->createTextureFromImage(imageOf(frame), QQuickWindow::TextureIsOpaque));
        drawn_ = frame;
    }
    // A frame that was drawn for this place may be a pixel smaller; anything else is on its way to another
    // size.
    const double scale = pixelsPerUnit();
    const QSize pixels(frame.width(), frame.height());
    const QSize missing = wantedPixels_ - pixels;
    const bool isOfThisSize =
        missing.width() >= 0 && missing.width() <= 1 && missing.height() >= 0 && missing.height() <= 1;
    const QSizeF size = isOfThisSize ? QSizeF(pixels) / scale : pictureRect_.size();
    // The scene's pixels, not the item's units, are what the picture has to lie on.
    const QPointF corner = mapToScene(pictureRect_.topLeft()) * scale;
    const QPointF snapped = mapFromScene(QPointF(std::round(corner.x()), std::round(corner.y())) / scale);
    imageNode->setFiltering(isOfThisSize ? QSGTexture::Nearest : QSGTexture::Linear);
    imageNode->setRect(QRectF(snapped, size));
    return imageNode;
}

}  // namespace varnelle
