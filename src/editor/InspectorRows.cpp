#include "editor/InspectorRows.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace varnelle {

InspectorSlider::InspectorSlider(InspectorSliderRule rule, LookEditing& editing, QObject* parent)
    : QObject(parent), rule_(std::move(rule)), editing_(editing) {
    update();
}

void InspectorSlider::drag(double value) {
    if (!std::exchange(isDragging_, true)) editing_.beginDrag();
    editing_.previewLook(lookWith(std::clamp(value, rule_.low, rule_.high)));
}

void InspectorSlider::endDrag() {
    if (!std::exchange(isDragging_, false)) return;
    editing_.commitLook(lookWith(value_));
    editing_.endDrag();
}

void InspectorSlider::reset() {
    const bool wasDragging = std::exchange(isDragging_, false);
    editing_.commitLook(lookWith(rule_.resetValue));
    if (wasDragging) editing_.endDrag();
}

void InspectorSlider::update() {
    OverlayConfiguration look = editing_.look();
    const double value = rule_.field(look);
    if (std::exchange(value_, value) != value) emit valueChanged();
}

OverlayConfiguration InspectorSlider::lookWith(double value) const {
    OverlayConfiguration look = editing_.look();
    rule_.field(look) = value;
    return look;
}

InspectorToggle::InspectorToggle(InspectorToggleRule rule, LookEditing& editing, QObject* parent)
    : QObject(parent), rule_(std::move(rule)), editing_(editing) {
    update();
}

void InspectorToggle::toggle() {
    OverlayConfiguration look = editing_.look();
    bool& field = rule_.field(look);
    field = !field;
    editing_.commitLook(std::move(look));
}

void InspectorToggle::update() {
    OverlayConfiguration look = editing_.look();
    const bool isOn = rule_.field(look);
    if (std::exchange(isOn_, isOn) != isOn) emit isOnChanged();
}

QString percentText(double value) {
    return QString::fromStdString(fmt::format("{:.0f}%", value * 100));
}

}  // namespace varnelle
