#pragma once

#include <QtQml/qqmlregistration.h>
#include <QPointF>
#include <QQuickItem>

namespace varnelle {

/// A ground by which its window is dragged, where nothing above it takes the press. The window keeps its
/// place under the pointer however late the desktop moves it.
class WindowDragItem : public QQuickItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(WindowDrag)

public:
    explicit WindowDragItem(QQuickItem* parent = nullptr);

private:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

    // On the desktop: where the press was and where the window's corner was then.
    QPointF pressed_;
    QPointF corner_;
    bool isDragging_ = false;  ///< the pointer has gone farther than a click does
};

}  // namespace varnelle
