#include "capture_ui/WindowSelectionModel.h"

#include <QPointer>
#include <algorithm>
#include <cmath>
#include <cstring>

#include "capture_ui/SourceTexts.h"
#include "tasks/Completion.h"

namespace varnelle {
namespace {

QImage imageOf(const std::optional<WindowIcon>& icon) {
    if (!icon || icon->widthPixels <= 0 || icon->heightPixels <= 0) return {};
    QImage image(icon->widthPixels, icon->heightPixels, QImage::Format_ARGB32);
    const auto rowPixels = static_cast<std::size_t>(icon->widthPixels);
    for (int y = 0; y < icon->heightPixels; ++y) {
        std::memcpy(image.scanLine(y), icon->pixels.data() + static_cast<std::size_t>(y) * rowPixels,
                    rowPixels * sizeof(std::uint32_t));
    }
    return image;
}

}  // namespace

WindowSelectionModel::WindowSelectionModel(const CaptureSources& sources, DesktopPlatform& platform)
    : sources_(sources), platform_(platform) {
    connect(&sources, &CaptureSources::selectionChanged, this, &WindowSelectionModel::follow);
    follow();
}

QString WindowSelectionModel::applicationName() const {
    return hasWindow() ? varnelle::applicationName(*sources_.selectedWindow()) : QString();
}

QString WindowSelectionModel::title() const {
    return hasWindow() ? QString::fromStdString(sources_.selectedWindow()->title) : QString();
}

QString WindowSelectionModel::sizeText() const {
    return hasWindow() ? varnelle::sizeText(sources_.selectedWindow()->frame.size) : QString();
}

void WindowSelectionModel::follow() {
    emit changed();
    const auto& window = sources_.selectedWindow();
    if (window && iconWindowID_ == window->windowID) return;
    setIcon({});
    iconWindowID_.reset();
    if (!window) return;
    iconWindowID_ = window->windowID;
    readIcon(*window);
}

QCoro::Task<> WindowSelectionModel::readIcon(ShareableWindow window) {
    const QPointer<WindowSelectionModel> self = this;
    const int sizePixels = static_cast<int>(std::lround(kIconPoints * std::max(window.scale, 1.0)));
    const auto read = [&platform = platform_, id = window.windowID, sizePixels] {
        return imageOf(platform.windowIcon(id, sizePixels));
    };
    const Completion<QImage> reading = resultOn(queue_, read);
    const QImage icon = co_await reading;
    if (self && iconWindowID_ == window.windowID) setIcon(icon);
}

void WindowSelectionModel::setIcon(const QImage& icon) {
    if (_icon.isNull() && icon.isNull()) return;
    _icon = icon;
    emit iconChanged();
}

}  // namespace varnelle
