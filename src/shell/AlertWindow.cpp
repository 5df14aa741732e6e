#include "shell/AlertWindow.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QScreen>
#include <utility>

#include "ui/PanelWindow.h"

namespace varnelle {

AlertWindow::AlertWindow(QQmlEngine& engine, QWindow* parent, const AlertContent& content,
                         std::function<void(int)> onAnswer)
    : QQuickView(&engine, nullptr),
      cancelButton_(content.cancelButton >= 0 ? content.cancelButton
                                              : static_cast<int>(content.buttons.size()) - 1),
      onAnswer_(std::move(onAnswer)) {
    setTitle("Varnelle");
    setFlags(Qt::Dialog | Qt::WindowStaysOnTopHint);
    setModality(Qt::ApplicationModal);
    setTransientParent(parent);
    setColor(QColor("#1d1f25"));
    setResizeMode(SizeViewToRootObject);
    loadContent(*this, QUrl("qrc:/qt/qml/Varnelle/Shell/AlertView.qml"),
                {{"message", content.message},
                 {"informativeText", content.informativeText},
                 {"buttons", content.buttons},
                 {"cancelButton", cancelButton_},
                 {"destructiveButton", content.destructiveButton}});
    connect(rootObject(), SIGNAL(answered(int)), this, SLOT(answer(int)));
    // Texts wrap, and so change the height, only once they are laid out.
    connect(rootObject(), &QQuickItem::heightChanged, this, &AlertWindow::fixSize);
    fixSize();
    const QScreen* screen = parent != nullptr ? parent->screen() : QGuiApplication::primaryScreen();
    QRect frame(QPoint(), size());
    if (parent != nullptr && parent->isVisible()) {
        frame.moveCenter(parent->geometry().center());
    } else if (screen != nullptr) {
        frame.moveCenter(screen->availableGeometry().center());
    }
    setPosition(frame.topLeft());
    show();
    requestActivate();
}

void AlertWindow::fixSize() {
    const QSize fitting(static_cast<int>(rootObject()->width()), static_cast<int>(rootObject()->height()));
    setMinimumSize(fitting);
    setMaximumSize(fitting);
}

void AlertWindow::answer(int button) {
    const std::function<void(int)> onAnswer = std::exchange(onAnswer_, nullptr);
    if (!onAnswer) return;
    hide();
    deleteLater();
    onAnswer(button);
}

bool AlertWindow::event(QEvent* event) {
    if (event->type() == QEvent::Close) answer(cancelButton_);
    return QQuickView::event(event);
}

}  // namespace varnelle
