#include "capture_ui/PermissionsWindow.h"

#include <QGuiApplication>
#include <QScreen>

#include "ui/PanelWindow.h"
#include "ui/WindowBackground.h"

namespace varnelle {

PermissionsWindow::PermissionsWindow(QQmlEngine& engine, AppState& app, PermissionsModel& model)
    : QQuickView(&engine, nullptr), app_(app), model_(model) {
    setTitle("Varnelle — Permissions");
    setFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowCloseButtonHint | Qt::CustomizeWindowHint);
    setColor(kWindowBackground);
    setResizeMode(SizeViewToRootObject);
    loadContent(*this, QUrl("qrc:/qt/qml/Varnelle/CaptureUi/PermissionsView.qml"),
                {{"model", QVariant::fromValue(&model)}});
    setMinimumSize(size());
    setMaximumSize(size());
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        QRect frame({}, size());
        frame.moveCenter(screen->availableGeometry().center());
        setPosition(frame.topLeft());
    }
}

bool PermissionsWindow::event(QEvent* event) {
    if (event->type() == QEvent::Show) model_.appear();
    if (event->type() == QEvent::Hide) model_.disappear();
    if (event->type() == QEvent::Close && !app_.permissionsWindowShouldClose()) {
        event->ignore();
        return true;
    }
    return QQuickView::event(event);
}

}  // namespace varnelle
