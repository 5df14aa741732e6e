#include "platform/linux/ScrollDevice.h"

#include <algorithm>

namespace varnelle {
namespace {

constexpr std::uint32_t kWheelUp = 4;
constexpr std::uint32_t kWheelDown = 5;
constexpr std::uint32_t kWheelLeft = 6;
constexpr std::uint32_t kWheelRight = 7;

/// `notches` are counted down and to the right, the way valuators grow.
void addNotches(ScrollEvent& event, bool isHorizontal, double notches) {
    double& delta = isHorizontal ? event.scrollingDeltaX : event.scrollingDeltaY;
    delta -= notches * kPointsPerWheelNotch;
}

}  // namespace

ScrollDevice::ScrollDevice(const std::vector<ScrollAxis>& axes) {
    for (const ScrollAxis& axis : axes) axes_.push_back({axis, std::nullopt});
}

std::optional<ScrollEvent> ScrollDevice::motion(std::span<const ValuatorChange> changes) {
    ScrollEvent event;
    for (const ValuatorChange& change : changes) {
        const auto axis = std::find_if(axes_.begin(), axes_.end(), [&change](const Axis& candidate) {
            return candidate.description.valuator == change.valuator;
        });
        if (axis == axes_.end()) continue;
        double difference = change.value;
        if (axis->description.isAbsolute) {
            difference = change.value - axis->lastPosition.value_or(change.value);
            axis->lastPosition = change.value;
        }
        addNotches(event, axis->description.isHorizontal, difference / axis->description.increment);
    }
    if (event == ScrollEvent{}) return std::nullopt;
    return event;
}

std::optional<ScrollEvent> ScrollDevice::buttonPress(std::uint32_t button, bool isEmulated) const {
    if (isEmulated || button < kWheelUp || button > kWheelRight) return std::nullopt;
    const bool isHorizontal = button >= kWheelLeft;
    if (hasAxis(isHorizontal)) return std::nullopt;
    ScrollEvent event;
    addNotches(event, isHorizontal, button == kWheelDown || button == kWheelRight ? 1 : -1);
    return event;
}

bool ScrollDevice::hasAxis(bool isHorizontal) const {
    return std::any_of(axes_.begin(), axes_.end(), [isHorizontal](const Axis& axis) {
        return axis.description.isHorizontal == isHorizontal;
    });
}

}  // namespace varnelle
