#include "ui/PopupMenu.h"

#include <QFocusEvent>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QQmlEngine>
#include <QScreen>
#include <algorithm>

#include "ui/PanelWindow.h"

namespace varnelle {
namespace {

constexpr int kGapPoints = 6;
constexpr int kScreenMarginPoints = 8;

}  // namespace

PopupMenu::PopupMenu(QObject* parent) : QObject(parent) {}

PopupMenu::~PopupMenu() {
    close();
}

void PopupMenu::setModel(MenuModel* model) {
    if (model_ == model) return;
    model_ = model;
    emit modelChanged();
}

void PopupMenu::open(QQuickItem* anchor) {
    if (isOpen() || model_ == nullptr || anchor == nullptr || anchor->window() == nullptr) return;
    window_ = std::make_unique<QQuickView>(qmlEngine(this), nullptr);
    // No window manager has a say in a menu. It isn't of the type "popup", which assistive programs aren't
    // told of.
    window_->setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint |
                      Qt::NoDropShadowWindowHint);
    window_->setTitle("Varnelle Menu");
    window_->setColor(Qt::transparent);
    window_->setTransientParent(anchor->window());
    window_->setScreen(anchor->window()->screen());
    window_->setResizeMode(QQuickView::SizeViewToRootObject);
    loadContent(*window_, QUrl("qrc:/qt/qml/Varnelle/Ui/MenuView.qml"),
                {{"model", QVariant::fromValue(model_.data())},
                 {"maximumHeight", window_->screen()->availableGeometry().height() / 2}});
    connect(window_->rootObject(), SIGNAL(closed()), this, SLOT(close()), Qt::QueuedConnection);
    // A menu doesn't outlive what it belongs to.
    connect(anchor->window(), &QWindow::visibleChanged, this, &PopupMenu::close);
    place(*anchor);
    window_->show();
    window_->setMouseGrabEnabled(true);
    window_->setKeyboardGrabEnabled(true);
    // The menu's window has the keys without being the active one: its items have to be told.
    QFocusEvent focus(QEvent::FocusIn, Qt::PopupFocusReason);
    QCoreApplication::sendEvent(window_.get(), &focus);
    qApp->installEventFilter(this);
    emit isOpenChanged();
}

void PopupMenu::close() {
    if (!window_) return;
    qApp->removeEventFilter(this);
    window_->setKeyboardGrabEnabled(false);
    window_->setMouseGrabEnabled(false);
    disconnect(window_->transientParent(), &QWindow::visibleChanged, this, &PopupMenu::close);
    window_->hide();
    window_.release()->deleteLater();  // it may be in the middle of an event
    emit isOpenChanged();
}

/// Clicks outside close the menu, and keys that the desktop hands to the program's active window are the
/// menu's.
bool PopupMenu::eventFilter(QObject* target, QEvent* event) {
    if (!window_ || !target->isWindowType()) return false;
    if (event->type() == QEvent::MouseButtonPress) {
        const QPoint place = static_cast<QMouseEvent*>(event)->globalPosition().toPoint();
        if (window_->geometry().contains(place)) return false;
        QMetaObject::invokeMethod(this, &PopupMenu::close, Qt::QueuedConnection);
        return true;
    }
    const bool isKey = event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease;
    if (!isKey || target == window_.get()) return false;
    QCoreApplication::sendEvent(window_.get(), event);
    return true;
}

void PopupMenu::place(const QQuickItem& anchor) {
    const QRectF anchorRect(anchor.mapToGlobal(QPointF(0, 0)), anchor.size());
    const QRectF screen = window_->screen()->availableGeometry().adjusted(
        kScreenMarginPoints, kScreenMarginPoints, -kScreenMarginPoints, -kScreenMarginPoints);
    const QSizeF size = window_->size();
    double y = anchorRect.bottom() + kGapPoints;
    if (y + size.height() > screen.bottom()) y = anchorRect.top() - kGapPoints - size.height();
    double x = anchorRect.center().x() - size.width() / 2;
    x = std::max(screen.left(), std::min(x, screen.right() - size.width()));
    y = std::max(screen.top(), std::min(y, screen.bottom() - size.height()));
    window_->setPosition(QPointF(x, y).toPoint());
}

}  // namespace varnelle
