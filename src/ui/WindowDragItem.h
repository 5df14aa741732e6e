#pragma once

#include <QtQml/qqmlregistration.h>
#include <QPointF>
#include <QQuickItem>
#include <QRect>
#include <vector>

namespace varnelle {

/// A screen as the interface has it: its corner in device pixels, and its size in points of so many of them.
struct ScreenOfPoints {
    QRect geometry;
    double devicePixelRatio = 1;

    [[nodiscard]] QPointF pixelsOf(const QPointF& place) const;
    [[nodiscard]] QPointF placeOf(const QPointF& pixels) const;
    [[nodiscard]] bool containsPixels(const QPointF& pixels) const;
};

/// Where the interface has a window whose corner is at `pixels` of the desktop: as counted on the screen that
/// its middle is on, else on the one that it was on. `size` is in points.
QPoint interfacePlace(const QPointF& pixels, const QSize& size, const ScreenOfPoints& current,
                      const std::vector<ScreenOfPoints>& screens);

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

    // In device pixels of the desktop, as the interface's places leave gaps between screens: where the press
    // was and where the window's corner was then.
    QPointF pressed_;
    QPointF corner_;
    bool isDragging_ = false;  ///< the pointer has gone farther than a click does
};

}  // namespace varnelle
