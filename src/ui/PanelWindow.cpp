#include "ui/PanelWindow.h"

#include <QPainterPath>
#include <QQmlError>
#include <QQuickItem>
#include <QRegion>
#include <utility>

#include "foundation/Log.h"

namespace varnelle {

PanelWindow::PanelWindow(QQmlEngine& engine, WindowManagement& management, const QUrl& content,
                         const QVariantMap& properties, Size size, const PanelBehaviour& behaviour,
                         Clicks clicks)
    : QQuickView(&engine, nullptr), management_(management), behaviour_(behaviour) {
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::NoDropShadowWindowHint);
    setFlag(Qt::WindowDoesNotAcceptFocus, !behaviour.takesKeyboardWhenClicked);
    if (clicks == Clicks::passedThrough) {
        // A window manager's frame around it would still take the clicks.
        setFlags(flags() | Qt::WindowTransparentForInput | Qt::BypassWindowManagerHint);
    }
    setColor(Qt::transparent);
    setResizeMode(size == Size::followsContent ? SizeViewToRootObject : SizeRootObjectToView);
    loadContent(*this, content, properties);
    // For assistive programs, what is in a hidden window isn't there.
    rootObject()->setVisible(false);
    connect(this, &QWindow::visibleChanged, rootObject(), &QQuickItem::setVisible);
    management_.applyPanelBehaviour(winId(), behaviour_);
}

void PanelWindow::setTakesKeyboard(bool takesKeyboard) {
    if (behaviour_.takesKeyboardWhenClicked == takesKeyboard) return;
    behaviour_.takesKeyboardWhenClicked = takesKeyboard;
    setFlag(Qt::WindowDoesNotAcceptFocus, !takesKeyboard);
    management_.applyPanelBehaviour(winId(), behaviour_);
}

void PanelWindow::placeAt(QPoint corner) {
    if (!isExposed()) unconfirmedCorner_ = corner;
    setPosition(corner);
}

void PanelWindow::placeAt(const QRect& frame) {
    if (!isExposed()) unconfirmedCorner_ = frame.topLeft();
    setGeometry(frame);
}

/// The desktop's report of a new window's first place may come after it has been given another, which the
/// toolkit then takes it to have lost.
void PanelWindow::exposeEvent(QExposeEvent* event) {
    QQuickView::exposeEvent(event);
    if (!isExposed() || !unconfirmedCorner_) return;
    const QPoint corner = *std::exchange(unconfirmedCorner_, std::nullopt);
    if (position() != corner) setPosition(corner);
}

void PanelWindow::setBackdrop(const QImage& picture) {
    if (!backdrop_) {
        backdrop_ = new PictureItem(contentItem());
        backdrop_->setZ(-1);
    }
    backdrop_->setSize(size());
    backdrop_->setImage(picture);
}

void PanelWindow::resizeEvent(QResizeEvent* event) {
    QQuickView::resizeEvent(event);
    if (backdrop_) backdrop_->setSize(size());
    cutToShape();
}

void PanelWindow::cutToShape() {
    const QVariant radius = rootObject() != nullptr ? rootObject()->property("outerRadius") : QVariant();
    if (!radius.isValid() || management_.isCompositing()) return;
    const double padding = rootObject()->property("outerPadding").toDouble();
    const QRectF solid = QRectF(QPointF(), QSizeF(size())).adjusted(padding, padding, -padding, -padding);
    QPainterPath shape;
    shape.addRoundedRect(solid, radius.toDouble(), radius.toDouble());
    setMask(QRegion(shape.toFillPolygon().toPolygon()));
}

void PanelWindow::orderBelow(const QWindow& sibling) {
    management_.orderBelow(winId(), sibling.winId());
}

void loadContent(QQuickView& view, const QUrl& content, const QVariantMap& properties) {
    view.setInitialProperties(properties);
    view.setSource(content);
    for (const QQmlError& error : view.errors()) {
        logger(LogCategory::app).critical("{}", error.toString().toStdString());
    }
    if (view.status() != QQuickView::Ready) qFatal("A window's content can't be loaded");
}

}  // namespace varnelle
