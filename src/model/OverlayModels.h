#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/Geometry.h"
#include "foundation/UserDefaults.h"

namespace varnelle {

enum class OverlayAnchor { bottomRight = 0, bottomLeft = 1, topRight = 2, topLeft = 3 };
enum class OverlayMaskType { circle, roundedRectangle, square };
enum class CanvasBackgroundStyle { none, macOSWallpaper };

std::string_view rawString(OverlayMaskType type);
std::string_view rawString(CanvasBackgroundStyle style);
/// The name that the user defaults keep.
std::string_view name(OverlayAnchor anchor);
std::optional<OverlayAnchor> overlayAnchor(std::string_view name);
std::optional<OverlayMaskType> overlayMaskType(std::string_view rawString);

/// The nine places that an overlay can be put at with one press.
enum class OverlayPositionPreset {
    topLeft,
    topCenter,
    topRight,
    middleLeft,
    center,
    middleRight,
    bottomLeft,
    bottomCenter,
    bottomRight,
};

/// How the pointer and the automatic camera are shown.
struct CursorConfiguration {
    bool showsCursor = true;
    bool zoomAndPanDisabled = false;
    bool rippleOnClickEnabled = false;
    bool clickAnimationEnabled = true;
    double size = 3.2;  ///< factor on the nominal pointer size
    bool operator==(const CursorConfiguration&) const = default;
};

/// The layout of the camera bubble that is chosen before a recording.
struct CameraBubbleLayout {
    double relativeSize = 0.15;  ///< side over the canvas's width
    double padding = 24;         ///< canvas pixels
    double cornerRadiusRatio = 0.22;
    OverlayAnchor anchor = OverlayAnchor::bottomLeft;
    OverlayMaskType maskType = OverlayMaskType::roundedRectangle;
    bool isMirrored = false;
    bool operator==(const CameraBubbleLayout&) const = default;
};

inline constexpr std::string_view kDefaultWallpaperPath = "asset://wallpapers/sequoia-blue.jpg";

/// The look of a project.
struct OverlayConfiguration {
    bool showsCamera = true;
    std::optional<CGPoint>
        position;  ///< centre of a dragged bubble in fractions of the canvas; absent: by anchor
    double relativeSize = 0.15;
    double scale = 1;
    double padding = 24;
    OverlayMaskType maskType = OverlayMaskType::roundedRectangle;
    double cornerRadius = 0;
    double cornerRadiusRatio = 0.22;
    OverlayAnchor anchor = OverlayAnchor::bottomLeft;
    bool isMirrored = false;
    CanvasBackgroundStyle canvasBackgroundStyle = CanvasBackgroundStyle::macOSWallpaper;
    std::string wallpaperPath{kDefaultWallpaperPath};
    double canvasPadding = 72;       ///< canvas pixels
    double canvasCornerRadius = 22;  ///< canvas pixels
    double canvasShadowOpacity = 0.28;
    double canvasShadowRadius = 26;
    double overlayShadowOpacity = 0.28;
    double overlayShadowRadius = 26;
    CursorConfiguration cursor;
    /// A slider or a drag is live, so renderers may take short cuts. Never stored.
    bool isInteractivelyEditing = false;
    bool operator==(const OverlayConfiguration&) const = default;
};

/// The layout to start with: anchor and mirroring from the user defaults "overlayPosition" and
/// "overlayIsMirrored".
CameraBubbleLayout defaultCameraBubbleLayout(const UserDefaults& defaults);
/// The layout of a look's bubble.
CameraBubbleLayout cameraBubbleLayout(const OverlayConfiguration& configuration);
/// The look of a new project whose bubble has the given layout.
OverlayConfiguration defaultOverlayConfiguration(const CameraBubbleLayout& layout);

}  // namespace varnelle
