#include "capture_ui/InterfaceScreens.h"

#include <QGuiApplication>
#include <algorithm>

namespace varnelle {

QScreen* screenOf(const ShareableDisplay& display) {
    const QString name = QString::fromStdString(display.name);
    const QList<QScreen*> screens = QGuiApplication::screens();
    const auto found = std::find_if(screens.begin(), screens.end(),
                                    [&name](const QScreen* screen) { return screen->name() == name; });
    return found == screens.end() ? nullptr : *found;
}

QRect interfaceRect(const CGRect& rect, const std::vector<ShareableDisplay>& displays) {
    const CGPoint middle{rect.midX(), rect.midY()};
    auto display = std::find_if(displays.begin(), displays.end(), [&middle](const auto& candidate) {
        return candidate.frame.contains(middle);
    });
    if (display == displays.end()) display = displays.begin();
    const QScreen* screen = display == displays.end() ? nullptr : screenOf(*display);
    if (screen == nullptr) return rounded(rect);
    const CGPoint corner{rect.minX() - display->frame.minX() + screen->geometry().x(),
                         rect.minY() - display->frame.minY() + screen->geometry().y()};
    return rounded({corner, rect.size});
}

ScreenPlace placeOf(const QScreen& screen) {
    return {rectOf(screen.geometry()), rectOf(screen.availableGeometry())};
}

QRect rounded(const CGRect& rect) {
    return QRectF(rect.minX(), rect.minY(), rect.width(), rect.height()).toRect();
}

CGRect rectOf(const QRect& rect) {
    return {{static_cast<double>(rect.x()), static_cast<double>(rect.y())},
            {static_cast<double>(rect.width()), static_cast<double>(rect.height())}};
}

}  // namespace varnelle
