#pragma once

#include <QObject>
#include <optional>

#include "app/AppState.h"
#include "foundation/Geometry.h"

namespace varnelle {

/// The overlay that marks the chosen source on the screen and carries the start button.
enum class SourceOverlay { displayHighlight, windowSelection, areaSelection };

struct PlacedOverlay {
    SourceOverlay overlay;
    CGRect frame;  ///< global points, origin top left

    bool operator==(const PlacedOverlay&) const = default;
};

/// The one overlay that is on the screen, and where; absent for none. Main thread.
class SourceOverlays final : public QObject {
    Q_OBJECT

public:
    /// Follows `app`, which must outlive the object.
    explicit SourceOverlays(AppState& app);

    [[nodiscard]] const std::optional<PlacedOverlay>& current() const { return _current; }

    /// Brings `current` in line with the state. Called whenever that changes.
    void syncSourceOverlays();

signals:
    void currentChanged();

private:
    [[nodiscard]] std::optional<PlacedOverlay> wanted() const;

    AppState& app_;
    std::optional<PlacedOverlay> _current;
};

}  // namespace varnelle
