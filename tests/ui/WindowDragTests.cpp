#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QMouseEvent>
#include <QQuickWindow>

#include "ui/WindowDragItem.h"

namespace varnelle {
namespace {

class WindowDragTest : public testing::Test {
protected:
    WindowDragTest() {
        window.setGeometry(100, 200, 300, 60);
        ground.setSize({300, 60});
        window.show();
    }
    void send(QEvent::Type type, QPoint inWindow, QPoint onDesktop) {
        const bool isPressed = type != QEvent::MouseButtonRelease;
        QMouseEvent event(type, inWindow, onDesktop,
                          type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                          isPressed ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&window, &event);
    }

    QQuickWindow window;
    WindowDragItem ground{window.contentItem()};
};

TEST_F(WindowDragTest, StaysUnderThePointerWhileTheDesktopIsBehind) {
    send(QEvent::MouseButtonPress, {40, 30}, {140, 230});
    send(QEvent::MouseMove, {42, 31}, {142, 231});
    EXPECT_EQ(window.position(), QPoint(100, 200)) << "hands tremble when they click";
    for (int step = 1; step <= 3; ++step) {
        const QPoint moved(30 * step, -10 * step);
        send(QEvent::MouseMove, QPoint(40, 30) + moved,
             QPoint(140, 230) + moved);  // of a window not moved yet
        EXPECT_EQ(window.position(), QPoint(100, 200) + moved);
    }
    send(QEvent::MouseMove, {40, 30}, {150, 235});
    EXPECT_EQ(window.position(), QPoint(110, 205)) << "back to near where it was";
    send(QEvent::MouseButtonRelease, {40, 30}, {150, 235});
    send(QEvent::MouseButtonPress, {60, 10}, {170, 215});
    send(QEvent::MouseMove, {62, 11}, {172, 216});
    EXPECT_EQ(window.position(), QPoint(110, 205)) << "another drag begins anew";
}

TEST(WindowDragPlace, FollowsThePixelsOverScreensOfAnyScale) {
    const ScreenOfPoints left{{0, 0, 960, 540}, 2};  // 1920 pixels wide
    const ScreenOfPoints right{{1920, 0, 1280, 720}, 1};
    const std::vector screens{left, right};
    const QSize size(300, 60);
    EXPECT_EQ(interfacePlace({1600, 100}, size, left, screens), QPoint(800, 50));
    EXPECT_EQ(interfacePlace({1640, 100}, size, left, screens), QPoint(1640, 100)) << "mostly on the right";
    EXPECT_EQ(interfacePlace({1760, 100}, size, right, screens), QPoint(880, 50)) << "and back";
    EXPECT_EQ(interfacePlace({1600, 5000}, size, left, screens), QPoint(800, 2500)) << "on neither";
    EXPECT_EQ(left.pixelsOf({800, 50}), QPointF(1600, 100));
    EXPECT_EQ(right.pixelsOf({1640, 100}), QPointF(1640, 100));
}

}  // namespace
}  // namespace varnelle
