#include "capture_ui/AreaSelectionModel.h"

#include "app/SourceRules.h"
#include "capture_ui/PanelPlacement.h"
#include "capture_ui/SourceTexts.h"

namespace varnelle {
namespace {

constexpr double kOpacityOfTooSmall = 0.6;

CGPoint toPoint(QPointF point) {
    return {point.x(), point.y()};
}

}  // namespace

AreaSelectionModel::AreaSelectionModel(CaptureSources& sources) : sources_(sources) {
    connect(&sources, &CaptureSources::selectionChanged, this, &AreaSelectionModel::selectionChanged);
    connect(&sources, &CaptureSources::displaysChanged, this, &AreaSelectionModel::selectionChanged);
}

void AreaSelectionModel::setEnabled(bool isEnabled) {
    if (_isEnabled == isEnabled) return;
    _isEnabled = isEnabled;
    if (!isEnabled) {
        interaction_.reset();
        setCursorShape(Qt::ArrowCursor);
    }
    emit isEnabledChanged();
}

std::optional<CGRect> AreaSelectionModel::screenFrame() const {
    const auto display = displayOfPanels(sources_);
    if (!display) return std::nullopt;
    return flippedGlobalRect(display->frame, sources_.primaryScreenHeight());
}

QRectF AreaSelectionModel::overlayRect() const {
    const auto rect = selectedScreenRect();
    const auto frame = screenFrame();
    if (!rect || !frame) return {};
    const CGRect inView = viewRect(*rect, *frame);
    return {inView.minX(), inView.minY(), inView.width(), inView.height()};
}

double AreaSelectionModel::overlayOpacity() const {
    return canStart() ? 1.0 : kOpacityOfTooSmall;
}

bool AreaSelectionModel::canStart() const {
    const QRectF rect = overlayRect();
    return isLargeEnough({{rect.x(), rect.y()}, {rect.width(), rect.height()}});
}

QString AreaSelectionModel::sizeText() const {
    const QRectF rect = overlayRect();
    return varnelle::sizeText({rect.width(), rect.height()});
}

void AreaSelectionModel::press(QPointF viewPoint) {
    const auto frame = screenFrame();
    if (!_isEnabled || !frame) return;
    interaction_ = beginInteraction(windowPoint(toPoint(viewPoint), *frame), selectedScreenRect(), *frame);
    setCursorShape(cursorOf(*interaction_));
}

void AreaSelectionModel::drag(QPointF viewPoint) {
    const auto frame = screenFrame();
    if (!_isEnabled || !frame || !interaction_) return;
    apply(*interaction_, windowPoint(toPoint(viewPoint), *frame));
}

void AreaSelectionModel::release(QPointF viewPoint) {
    interaction_.reset();
    updateHoverCursor(viewPoint);
}

void AreaSelectionModel::hover(QPointF viewPoint) {
    if (!interaction_) updateHoverCursor(viewPoint);
}

void AreaSelectionModel::nudge(double dx, double dy) {
    if (const auto rect = selectedScreenRect()) apply(MovingInteraction{{0, 0}, *rect}, {dx, -dy});
}

void AreaSelectionModel::nudgeCorner(double dx, double dy) {
    if (const auto rect = selectedScreenRect()) {
        apply(ResizingInteraction{ResizeHandle::bottomRight, {0, 0}, *rect}, {dx, -dy});
    }
}

void AreaSelectionModel::apply(const Interaction& interaction, CGPoint pointInWindow) {
    const auto frame = screenFrame();
    if (!_isEnabled || !frame) return;
    if (const auto rect = draggedRect(interaction, pointInWindow, *frame)) {
        sources_.setSelectedAreaRect(rect);
    }
}

void AreaSelectionModel::updateHoverCursor(QPointF viewPoint) {
    const auto frame = screenFrame();
    if (!_isEnabled || !frame) {
        setCursorShape(Qt::ArrowCursor);
        return;
    }
    setCursorShape(hoverCursor(windowPoint(toPoint(viewPoint), *frame), selectedScreenRect(), *frame));
}

void AreaSelectionModel::setCursorShape(Qt::CursorShape shape) {
    if (_cursorShape == shape) return;
    _cursorShape = shape;
    emit cursorShapeChanged();
}

}  // namespace varnelle
