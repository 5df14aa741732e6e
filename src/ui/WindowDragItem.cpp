#include "ui/WindowDragItem.h"

#include <QGuiApplication>
#include <QQuickWindow>
#include <QScreen>
#include <QStyleHints>
#include <algorithm>

namespace varnelle {
namespace {

ScreenOfPoints pointsOf(const QScreen& screen) {
    return {screen.geometry(), screen.devicePixelRatio()};
}

QPointF pixelsOf(const QPointF& place, const QWindow& window) {
    const QScreen* const screen = QGuiApplication::screenAt(place.toPoint());
    return pointsOf(screen != nullptr ? *screen : *window.screen()).pixelsOf(place);
}

}  // namespace

QPointF ScreenOfPoints::pixelsOf(const QPointF& place) const {
    const QPointF corner = geometry.topLeft();
    return corner + (place - corner) * devicePixelRatio;
}

QPointF ScreenOfPoints::placeOf(const QPointF& pixels) const {
    const QPointF corner = geometry.topLeft();
    return corner + (pixels - corner) / devicePixelRatio;
}

bool ScreenOfPoints::containsPixels(const QPointF& pixels) const {
    return QRectF(geometry.topLeft(), QSizeF(geometry.size()) * devicePixelRatio).contains(pixels);
}

QPoint interfacePlace(const QPointF& pixels, const QSize& size, const ScreenOfPoints& current,
                      const std::vector<ScreenOfPoints>& screens) {
    const QPointF middle = pixels + QPointF(size.width(), size.height()) / 2 * current.devicePixelRatio;
    const auto found = std::find_if(screens.begin(), screens.end(), [&](const ScreenOfPoints& screen) {
        return screen.containsPixels(middle);
    });
    return (found != screens.end() ? *found : current).placeOf(pixels).toPoint();
}

WindowDragItem::WindowDragItem(QQuickItem* parent) : QQuickItem(parent) {
    setAcceptedMouseButtons(Qt::LeftButton);
}

void WindowDragItem::mousePressEvent(QMouseEvent* event) {
    pressed_ = pixelsOf(event->globalPosition(), *window());
    corner_ = pointsOf(*window()->screen()).pixelsOf(window()->position());
    isDragging_ = false;
}

/// Measured on the desktop: a place in the window is told from where the desktop has it, which may be some
/// moves behind.
void WindowDragItem::mouseMoveEvent(QMouseEvent* event) {
    const QPointF moved = pixelsOf(event->globalPosition(), *window()) - pressed_;
    const double clickSize =
        QGuiApplication::styleHints()->startDragDistance() * window()->screen()->devicePixelRatio();
    if (moved.manhattanLength() >= clickSize) isDragging_ = true;
    if (!isDragging_) return;
    std::vector<ScreenOfPoints> screens;
    for (const QScreen* screen : QGuiApplication::screens()) screens.push_back(pointsOf(*screen));
    window()->setPosition(
        interfacePlace(corner_ + moved, window()->size(), pointsOf(*window()->screen()), screens));
}

}  // namespace varnelle
