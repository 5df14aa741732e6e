#include "ui/PanelWindow.h"

#include <QQmlError>

#include "foundation/Log.h"

namespace varnelle {

PanelWindow::PanelWindow(QQmlEngine& engine, const QUrl& content, const QVariantMap& properties, Size size,
                         Focus focus)
    : QQuickView(&engine, nullptr) {
    Qt::WindowFlags flags = Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;
    if (focus == Focus::declined) flags |= Qt::WindowDoesNotAcceptFocus;
    setFlags(flags);
    setColor(Qt::transparent);
    setResizeMode(size == Size::followsContent ? SizeViewToRootObject : SizeRootObjectToView);
    setInitialProperties(properties);
    setSource(content);
    for (const QQmlError& error : errors())
        logger(LogCategory::app).critical("{}", error.toString().toStdString());
    if (status() != Ready) qFatal("A panel's content can't be loaded");
}

}  // namespace varnelle
