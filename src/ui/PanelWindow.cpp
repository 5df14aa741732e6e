#include "ui/PanelWindow.h"

#include <QQmlError>

#include "foundation/Log.h"

namespace varnelle {

PanelWindow::PanelWindow(QQmlEngine& engine, WindowManagement& management, const QUrl& content,
                         const QVariantMap& properties, Size size, const PanelBehaviour& behaviour)
    : QQuickView(&engine, nullptr), management_(management), behaviour_(behaviour) {
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::NoDropShadowWindowHint);
    setFlag(Qt::WindowDoesNotAcceptFocus, !behaviour.takesKeyboardWhenClicked);
    setColor(Qt::transparent);
    setResizeMode(size == Size::followsContent ? SizeViewToRootObject : SizeRootObjectToView);
    loadContent(*this, content, properties);
    management_.applyPanelBehaviour(winId(), behaviour_);
}

void PanelWindow::setTakesKeyboard(bool takesKeyboard) {
    if (behaviour_.takesKeyboardWhenClicked == takesKeyboard) return;
    behaviour_.takesKeyboardWhenClicked = takesKeyboard;
    setFlag(Qt::WindowDoesNotAcceptFocus, !takesKeyboard);
    management_.applyPanelBehaviour(winId(), behaviour_);
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
