#include "ui/WindowDragItem.h"

#include <QGuiApplication>
#include <QQuickWindow>
#include <QStyleHints>

namespace varnelle {

WindowDragItem::WindowDragItem(QQuickItem* parent) : QQuickItem(parent) {
    setAcceptedMouseButtons(Qt::LeftButton);
}

void WindowDragItem::mousePressEvent(QMouseEvent* event) {
    pressed_ = event->globalPosition();
    corner_ = window()->position();
    isDragging_ = false;
}

/// Measured on the desktop: a place in the window is told from where the desktop has it, which may be some
/// moves behind.
void WindowDragItem::mouseMoveEvent(QMouseEvent* event) {
    const QPointF moved = event->globalPosition() - pressed_;
    if (moved.manhattanLength() >= QGuiApplication::styleHints()->startDragDistance()) isDragging_ = true;
    if (isDragging_) window()->setPosition((corner_ + moved).toPoint());
}

}  // namespace varnelle
