#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <vector>

#include "imaging/Bitmap.h"
#include "model/OverlayModels.h"

namespace varnelle {

/// A gradient that is offered as wallpaper.
struct GradientWallpaper {
    std::string_view name;
    std::string_view key;
    std::array<Color, 3> colors;
};

inline constexpr std::string_view kGradientScheme = "procedural://gradient/";

/// The gradients in the order in which they are offered.
const std::vector<GradientWallpaper>& gradientWallpapers();

/// Shown where a wallpaper can't be: a dark slate.
inline constexpr Color kFallbackBackgroundColor{0.09, 0.1, 0.13, 1};

/// Paints a gradient by its key; absent for an unknown key. Deterministic.
std::optional<Bitmap> paintGradient(std::string_view key, int widthPixels, int heightPixels);

/// Paints the canvas of a look: black for `none`, else the wallpaper (the default one if the path is empty),
/// or the fallback colour if there is no such wallpaper. Any thread; never fails.
Bitmap paintCanvasBackground(CanvasBackgroundStyle style, std::string_view wallpaperPath, int widthPixels,
                             int heightPixels);

}  // namespace varnelle
