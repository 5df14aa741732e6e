#include "model/OverlayModels.h"

#include <algorithm>

namespace varnelle {
namespace {

constexpr std::array<std::string_view, 4> kAnchorNames{"bottomRight", "bottomLeft", "topRight", "topLeft"};
constexpr std::array<std::string_view, 3> kMaskTypeNames{"circle", "roundedRectangle", "square"};

template <typename Enumeration, std::size_t count>
std::optional<Enumeration> enumerator(const std::array<std::string_view, count>& names,
                                      std::string_view name) {
    const auto* const found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) return std::nullopt;
    return static_cast<Enumeration>(found - names.begin());
}

}  // namespace

std::string_view rawString(OverlayMaskType type) {
    return kMaskTypeNames.at(static_cast<std::size_t>(type));
}

std::string_view rawString(CanvasBackgroundStyle style) {
    return style == CanvasBackgroundStyle::none ? "none" : "macOSWallpaper";
}

std::string_view name(OverlayAnchor anchor) {
    return kAnchorNames.at(static_cast<std::size_t>(anchor));
}

std::optional<OverlayAnchor> overlayAnchor(std::string_view name) {
    return enumerator<OverlayAnchor>(kAnchorNames, name);
}

std::optional<OverlayMaskType> overlayMaskType(std::string_view rawString) {
    return enumerator<OverlayMaskType>(kMaskTypeNames, rawString);
}

CameraBubbleLayout defaultCameraBubbleLayout(const UserDefaults& defaults) {
    CameraBubbleLayout layout;
    layout.anchor =
        overlayAnchor(defaults.string("overlayPosition").value_or("")).value_or(OverlayAnchor::bottomLeft);
    layout.isMirrored = defaults.boolean("overlayIsMirrored");
    return layout;
}

CameraBubbleLayout cameraBubbleLayout(const OverlayConfiguration& configuration) {
    return {configuration.relativeSize, configuration.padding,  configuration.cornerRadiusRatio,
            configuration.anchor,       configuration.maskType, configuration.isMirrored};
}

OverlayConfiguration defaultOverlayConfiguration(const CameraBubbleLayout& layout) {
    OverlayConfiguration configuration;
    configuration.relativeSize = layout.relativeSize;
    configuration.padding = layout.padding;
    configuration.cornerRadiusRatio = layout.cornerRadiusRatio;
    configuration.anchor = layout.anchor;
    configuration.maskType = layout.maskType;
    configuration.isMirrored = layout.isMirrored;
    return configuration;
}

}  // namespace varnelle
