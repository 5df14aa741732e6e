#include "capture_ui/DisplayHighlightModel.h"

#include <utility>

#include "capture_ui/InterfaceScreens.h"
#include "capture_ui/PanelPlacement.h"

namespace varnelle {

DisplayHighlightModel::DisplayHighlightModel(const CaptureSources& sources, ScreenLookup screenOf)
    : sources_(sources), screenOf_(std::move(screenOf)) {
    connect(&sources, &CaptureSources::selectionChanged, this, &DisplayHighlightModel::changed);
    connect(&sources, &CaptureSources::displaysChanged, this, &DisplayHighlightModel::changed);
}

QString DisplayHighlightModel::title() const {
    return displayTitle(screen());
}

QString DisplayHighlightModel::details() const {
    const auto display = displayOfPanels(sources_);
    return display ? displayDetails(*display, screen()) : QString();
}

std::optional<ScreenDescription> DisplayHighlightModel::screen() const {
    const auto display = displayOfPanels(sources_);
    return display ? screenOf_(*display) : std::nullopt;
}

std::optional<ScreenDescription> interfaceScreen(const ShareableDisplay& display) {
    const QScreen* screen = screenOf(display);
    if (screen == nullptr) return std::nullopt;
    // The monitor's own name where it tells one, the connector's otherwise.
    const QString monitor = screen->model().trimmed();
    const QSizeF size = screen->size();
    return ScreenDescription{
        monitor.isEmpty() ? screen->name() : monitor, {size.width(), size.height()}, screen->refreshRate()};
}

}  // namespace varnelle
