#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/InputMonitors.h"

namespace varnelle {

/// What one notch of a wheel scrolls, in points. X counts notches, and leaves distances to programs; toolkits
/// move the content by three lines of text for each, and a line of body text takes 16 points.
inline constexpr double kPointsPerWheelNotch = 48;

/// An axis of a device that scrolls.
struct ScrollAxis {
    std::uint16_t valuator = 0;
    bool isHorizontal = false;
    double increment = 1;     ///< what the valuator changes by for one notch; never 0
    bool isAbsolute = false;  ///< whether events tell the valuator's position rather than its change

    bool operator==(const ScrollAxis&) const = default;
};

struct ValuatorChange {
    std::uint16_t valuator = 0;
    double value = 0;
};

/// Makes scroll events of what one input device does (X Input Extension 2.1, "smooth scrolling"): of its
/// scroll valuators, or, in the directions for which it has none, of the wheel's buttons 4 to 7. A server
/// sends the other of the two along for old programs; taking both would count everything twice.
///
/// X tells no momentum: what goes on after the fingers' release is made by the toolkits.
class ScrollDevice {
public:
    explicit ScrollDevice(const std::vector<ScrollAxis>& axes = {});
    /// Absent if nothing scrolled.
    std::optional<ScrollEvent> motion(std::span<const ValuatorChange> changes);
    /// A button that goes down; `isEmulated` if the server made it up.
    [[nodiscard]] std::optional<ScrollEvent> buttonPress(std::uint32_t button, bool isEmulated) const;

private:
    struct Axis {
        ScrollAxis description;
        std::optional<double> lastPosition;
    };

    [[nodiscard]] bool hasAxis(bool isHorizontal) const;

    std::vector<Axis> axes_;
};

}  // namespace varnelle
