#include "editor/CameraOverlayModel.h"

#include <algorithm>
#include <utility>

#include "render/FramePlan.h"

namespace varnelle {
namespace {

double scaleOf(double previewExtent, double renderExtent) {
    return std::max(renderExtent <= 1 ? previewExtent : previewExtent / renderExtent, 0.001);
}

double clamped(double value, double oneBound, double otherBound) {
    const auto [low, high] = std::minmax({oneBound, otherBound});
    return std::clamp(value, low, high);
}

}  // namespace

OverlayConfiguration withClampedPosition(OverlayConfiguration look, CGSize canvas) {
    if (!look.position) return look;
    const double half = std::max(canvas.width * look.relativeSize * look.scale, 1.0) * 0.5;
    const double width = std::max(canvas.width, 1.0);
    const double height = std::max(canvas.height, 1.0);
    look.position->x = clamped(look.position->x, half / width, (canvas.width - half) / width);
    look.position->y = clamped(look.position->y, half / height, (canvas.height - half) / height);
    return look;
}

CameraOverlayModel::CameraOverlayModel(LookEditing& editing, QObject* parent)
    : QObject(parent), editing_(editing) {}

void CameraOverlayModel::setRenderSize(CGSize size) {
    if (std::exchange(renderSize_, size) != size) emit changed();
}

void CameraOverlayModel::setHasCamera(bool hasCamera) {
    if (std::exchange(hasCamera_, hasCamera) != hasCamera) emit changed();
}

void CameraOverlayModel::setPreviewSize(const QSizeF& size) {
    if (std::exchange(previewSize_, size) != size) emit changed();
}

double CameraOverlayModel::scaleX() const {
    return scaleOf(previewSize_.width(), renderSize_.width);
}

double CameraOverlayModel::scaleY() const {
    return scaleOf(previewSize_.height(), renderSize_.height);
}

QRectF CameraOverlayModel::bubble() const {
    if (renderSize_.width <= 0 || renderSize_.height <= 0) return {};
    const CGRect rect = flipped(cameraRect(renderSize_, editing_.look()), renderSize_.height);
    return {rect.origin.x * scaleX(), rect.origin.y * scaleY(), rect.width() * scaleX(),
            rect.height() * scaleY()};
}

double CameraOverlayModel::cornerRadius() const {
    const OverlayConfiguration& look = editing_.look();
    return bubbleCornerRadius(cameraRect(renderSize_, look), look) * scaleX();
}

void CameraOverlayModel::drag(double translationX, double translationY) {
    if (!dragStartConfiguration_) {
        dragStartConfiguration_ = editing_.look();
        editing_.beginDrag();
        emit isDraggingChanged();
    }
    editing_.previewLook(moved(*dragStartConfiguration_, translationX, translationY));
}

void CameraOverlayModel::endDrag(double translationX, double translationY) {
    if (!dragStartConfiguration_) return;
    const OverlayConfiguration start = *std::exchange(dragStartConfiguration_, std::nullopt);
    editing_.commitLook(moved(start, translationX, translationY));
    editing_.endDrag();
    emit isDraggingChanged();
}

void CameraOverlayModel::abandonDrag() {
    if (std::exchange(dragStartConfiguration_, std::nullopt)) emit isDraggingChanged();
}

void CameraOverlayModel::nudge(double translationX, double translationY) {
    if (!isDragging()) editing_.commitLook(moved(editing_.look(), translationX, translationY));
}

OverlayConfiguration CameraOverlayModel::moved(const OverlayConfiguration& look, double translationX,
                                               double translationY) const {
    const CGRect rect = cameraRect(renderSize_, look);
    // Upwards in the picture is downwards in the view.
    const double x = rect.origin.x + rect.width() / 2 + translationX / scaleX();
    const double y = rect.origin.y + rect.height() / 2 - translationY / scaleY();
    OverlayConfiguration result = look;
    result.position = CGPoint{x / (renderSize_.width > 1 ? renderSize_.width : 1),
                              y / (renderSize_.height > 1 ? renderSize_.height : 1)};
    return withClampedPosition(std::move(result), renderSize_);
}

}  // namespace varnelle
