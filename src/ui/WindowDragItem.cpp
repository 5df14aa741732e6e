#include "ui/WindowDragItem.h"

#include <QGuiApplication>
#include <QQuickWindow>
#include <QStyleHints>

namespace varnelle {

WindowDragItem::WindowDragItem(QQuickItem* parent) : QQuickItem(parent) {
    setAcceptedMouseButtons(Qt::LeftButton);
}

void WindowDragItem::mousePressEvent(QMouseEvent* event) {
    press_ = Press{event->globalPosition(), window()->position()};
    isDragging_ = false;
}

/// Measured on the desktop: a place in the window is told from where the desktop has it, which may be some
/// moves behind.
void WindowDragItem::mouseMoveEvent(QMouseEvent* event) {
    if (!press_) return;
    const QPointF moved = event->globalPosition() - press_->pointer;
    if (moved.manhattanLength() >= QGuiApplication::styleHints()->startDragDistance()) isDragging_ = true;
    if (isDragging_) window()->setPosition((press_->corner + moved).toPoint());
}

void WindowDragItem::mouseUngrabEvent() {
    press_.reset();
}

}  // namespace varnelle
