#include "capture_ui/SourceOverlays.h"

#include "capture_ui/PanelPlacement.h"

namespace varnelle {

SourceOverlays::SourceOverlays(AppState& app) : app_(app) {
    const CaptureSources& sources = app.captureSources();
    connect(&app, &AppState::modeChanged, this, &SourceOverlays::syncSourceOverlays);
    connect(&app, &AppState::isDockBarVisibleChanged, this, &SourceOverlays::syncSourceOverlays);
    connect(&sources, &CaptureSources::recordingTypeChanged, this, &SourceOverlays::syncSourceOverlays);
    connect(&sources, &CaptureSources::selectionChanged, this, &SourceOverlays::syncSourceOverlays);
    connect(&sources, &CaptureSources::displaysChanged, this, &SourceOverlays::syncSourceOverlays);
    syncSourceOverlays();
}

void SourceOverlays::syncSourceOverlays() {
    const std::optional<PlacedOverlay> overlay = wanted();
    if (_current == overlay) return;
    _current = overlay;
    emit currentChanged();
}

std::optional<PlacedOverlay> SourceOverlays::wanted() const {
    const CaptureSources& sources = app_.captureSources();
    if (app_.mode() != AppMode::setup || !app_.isDockBarVisible() || !sources.recordingType()) {
        return std::nullopt;
    }
    if (sources.recordingType() == RecordingType::window) {
        // Without a window there is nothing to mark.
        if (!sources.selectedWindow()) return std::nullopt;
        return PlacedOverlay{SourceOverlay::windowSelection, sources.selectedWindow()->frame};
    }
    const auto display = displayOfPanels(sources);
    if (!display) return std::nullopt;
    const bool isArea = sources.recordingType() == RecordingType::area;
    return PlacedOverlay{isArea ? SourceOverlay::areaSelection : SourceOverlay::displayHighlight,
                         display->frame};
}

}  // namespace varnelle
