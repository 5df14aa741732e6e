#pragma once

#include <array>
#include <optional>
#include <span>
#include <string_view>

#include "imaging/Bitmap.h"

namespace varnelle {

inline constexpr std::string_view kAssetScheme = "asset://";
inline constexpr std::string_view kGradientScheme = "procedural://gradient/";

/// A wallpaper as it is offered for choosing.
struct MacOSWallpaperOption {
    std::string_view name;
    std::string_view path;
};

/// The pictures and the gradients, each in the order in which they are offered.
std::span<const MacOSWallpaperOption> wallpaperImages();
std::span<const MacOSWallpaperOption> wallpaperGradients();

/// The colours of a gradient, by the part of its path behind the scheme; absent for an unknown one.
std::optional<std::array<Color, 3>> gradientColors(std::string_view key);

}  // namespace varnelle
