#include "capture_ui/SourceTexts.h"

#include <QCoreApplication>
#include <cmath>

namespace varnelle {
namespace {

QString translated(const char* text) {
    return QCoreApplication::translate("SourceTexts", text);
}

}  // namespace

QString applicationName(const ShareableWindow& window) {
    if (!window.owningApplication || window.owningApplication->name.empty()) return translated("Unknown App");
    return QString::fromStdString(window.owningApplication->name);
}

QString windowTitle(const ShareableWindow& window) {
    return window.title.empty() ? translated("Untitled Window") : QString::fromStdString(window.title);
}

QString sizeText(CGSize size) {
    return QStringLiteral("%1 × %2").arg(std::lround(size.width)).arg(std::lround(size.height));
}

QString displayTitle(const std::optional<ScreenDescription>& screen) {
    return screen ? screen->localizedName : translated("Unknown Display");
}

QString displayDetails(const ShareableDisplay& display, const std::optional<ScreenDescription>& screen) {
    if (!screen) return sizeText(display.frame.size);
    return QStringLiteral("%1 · %2 Hz")
        .arg(sizeText(screen->size))
        .arg(std::lround(screen->maximumFramesPerSecond));
}

}  // namespace varnelle
