#include "shell/MainWindow.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QScreen>
#include <algorithm>
#include <array>
#include <cstdio>

#include "ui/PanelWindow.h"
#include "ui/WindowBackground.h"

namespace varnelle {
namespace {

constexpr const char* kFrameAutosaveName = "VarnelleMainWindow";
constexpr QSize kContentSize{1100, 750};
constexpr QSize kLeastSize{900, 600};
/// Room for the title bar, whose height isn't known before it is there.
constexpr int kTitleBarHeight = 32;
constexpr auto kOnceAndLater =
    static_cast<Qt::ConnectionType>(Qt::SingleShotConnection | Qt::QueuedConnection);

/// Where the window's content may lie, its title bar above it.
QRect roomOn(const QScreen& screen) {
    return screen.availableGeometry().adjusted(0, kTitleBarHeight, 0, 0);
}

/// As near to the frame as it goes: made smaller where it has to, and moved inside.
QRect fittedInto(const QRect& room, const QRect& frame) {
    const QSize size = frame.size().boundedTo(room.size()).expandedTo(kLeastSize);
    QRect fitted(frame.topLeft(), size);
    fitted.moveLeft(
        std::max(room.left(), std::min(fitted.left(), room.left() + room.width() - size.width())));
    fitted.moveTop(std::max(room.top(), std::min(fitted.top(), room.top() + room.height() - size.height())));
    return fitted;
}

}  // namespace

MainWindow::MainWindow(QQmlEngine& engine, AppState& app, UserDefaults& defaults,
                       const QVariantMap& properties)
    : QQuickView(&engine, nullptr), app_(app), defaults_(defaults) {
    setTitle("Varnelle");
    setColor(kWindowBackground);
    setResizeMode(SizeRootObjectToView);
    setMinimumSize(kLeastSize);
    restoreFrame();
    loadContent(*this, QUrl("qrc:/qt/qml/Varnelle/Shell/MainView.qml"), properties);
}

MainWindow::~MainWindow() {
    if (isVisible()) saveFrame();
}

bool MainWindow::event(QEvent* event) {
    if (event->type() == QEvent::Close && app_.isSavingProject()) {
        // During a save the request would be turned down.
        const auto closeIfShown = [this] {
            if (isVisible()) close();
        };
        connect(&app_, &AppState::isSavingProjectChanged, this, closeIfShown, kOnceAndLater);
        event->ignore();
        return true;
    }
    if (event->type() == QEvent::Close) {
        commitText();
        if (app_.mainWindowShouldClose()) return QQuickView::event(event);
        event->ignore();
        return true;
    }
    if (event->type() == QEvent::Hide) saveFrame();
    return QQuickView::event(event);
}

void MainWindow::commitText() {
    if (QQuickItem* item = activeFocusItem();
        item != nullptr && item->flags() & QQuickItem::ItemAcceptsInputMethod)
        item->setFocus(false);
}

void MainWindow::restoreFrame() {
    std::array<int, 4> frame{};
    const std::string saved = defaults_.string(kFrameAutosaveName).value_or("");
    const bool isSaved =
        std::sscanf(saved.c_str(), "%d %d %d %d", &frame[0], &frame[1], &frame[2], &frame[3]) == 4;
    const QRect rect(frame[0], frame[1], frame[2], frame[3]);
    const QScreen* screen = isSaved ? QGuiApplication::screenAt(rect.center()) : nullptr;
    if (screen != nullptr) {
        setGeometry(fittedInto(roomOn(*screen), rect));
    } else if (const QScreen* primary = QGuiApplication::primaryScreen()) {
        QRect centred({}, kContentSize);
        centred.moveCenter(roomOn(*primary).center());
        setGeometry(fittedInto(roomOn(*primary), centred));
    } else {
        resize(kContentSize);
    }
}

void MainWindow::saveFrame() {
    if (windowStates() & (Qt::WindowMaximized | Qt::WindowFullScreen | Qt::WindowMinimized)) return;
    const QRect frame = geometry();
    defaults_.set(kFrameAutosaveName, QString("%1 %2 %3 %4")
                                          .arg(frame.x())
                                          .arg(frame.y())
                                          .arg(frame.width())
                                          .arg(frame.height())
                                          .toStdString());
}

}  // namespace varnelle
