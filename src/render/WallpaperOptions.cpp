#include "render/WallpaperOptions.h"

#include <map>

namespace varnelle {

std::span<const MacOSWallpaperOption> wallpaperImages() {
    static constexpr std::array<MacOSWallpaperOption, 25> kImages{{
        {"Energy 19", "asset://wallpapers/energy-19.jpg"},
        {"Farmvalley", "asset://wallpapers/farmvalley.jpg"},
        {"Glassmorphism 3", "asset://wallpapers/glassmorphism-3.jpg"},
        {"Glassmorphism 4", "asset://wallpapers/glassmorphism-4.jpg"},
        {"Iridescent 9", "asset://wallpapers/iridescent-9.jpg"},
        {"Levels", "asset://wallpapers/levels.jpg"},
        {"Riverlight", "asset://wallpapers/riverlight.jpg"},
        {"Midnight 8", "asset://wallpapers/midnight-8.jpg"},
        {"Mountaintrees", "asset://wallpapers/mountaintrees.jpg"},
        {"Sequoia Blue Orange", "asset://wallpapers/sequoia-blue-orange.jpg"},
        {"Sequoia Blue", "asset://wallpapers/sequoia-blue.jpg"},
        {"Sonoma Clouds", "asset://wallpapers/sonoma-clouds.jpg"},
        {"Sonoma Dark", "asset://wallpapers/sonoma-dark.jpg"},
        {"Sonoma Evening", "asset://wallpapers/sonoma-evening.jpg"},
        {"Sonoma Horizon", "asset://wallpapers/sonoma-horizon.jpg"},
        {"Sonoma Light", "asset://wallpapers/sonoma-light.jpg"},
        {"Tahoe Dark", "asset://wallpapers/tahoe-dark.jpg"},
        {"Tahoe Light", "asset://wallpapers/tahoe-light.jpg"},
        {"Ventura Dark", "asset://wallpapers/ventura-dark.jpg"},
        {"Ventura", "asset://wallpapers/ventura.jpg"},
        {"Wallpaper 3", "asset://wallpapers/wallpaper3.jpg"},
        {"Wallpaper 4", "asset://wallpapers/wallpaper4.jpg"},
        {"Wallpaper 7", "asset://wallpapers/wallpaper7.jpg"},
        {"Wallpaper 10", "asset://wallpapers/wallpaper10.jpg"},
        {"Wallpaper 13", "asset://wallpapers/wallpaper13.jpg"},
    }};
    return kImages;
}

std::span<const MacOSWallpaperOption> wallpaperGradients() {
    static constexpr std::array<MacOSWallpaperOption, 10> kGradients{{
        {"Tropical Breeze", "procedural://gradient/tropical"},
        {"Berry Blast", "procedural://gradient/berry"},
        {"Golden Hour", "procedural://gradient/golden_hour"},
        {"Frosted Mint", "procedural://gradient/mint"},
        {"Electric Lime", "procedural://gradient/lime"},
        {"Prism Flow", "procedural://gradient/prism"},
        {"Solar Flare", "procedural://gradient/solar_flare"},
        {"Glacier Ice", "procedural://gradient/glacier"},
        {"Peach Sorbet", "procedural://gradient/peach"},
        {"Digital Ocean", "procedural://gradient/digital_ocean"},
    }};
    return kGradients;
}

std::optional<std::array<Color, 3>> gradientColors(std::string_view key) {
    static const std::map<std::string_view, std::array<Color, 3>> table{
        {"tropical", {{{0.0, 0.85, 0.95}, {0.95, 0.85, 0.0}, {1.0, 0.45, 0.0}}}},
        {"berry", {{{0.95, 0.0, 0.45}, {0.35, 0.0, 0.85}, {0.1, 0.05, 0.25}}}},
        {"golden_hour", {{{1.0, 0.65, 0.0}, {1.0, 0.35, 0.25}, {0.85, 0.1, 0.45}}}},
        {"mint", {{{0.0, 0.95, 0.75}, {0.25, 0.85, 0.95}, {1.0, 1.0, 1.0}}}},
        {"lime", {{{0.75, 1.0, 0.0}, {0.0, 0.65, 0.32}, {0.05, 0.15, 0.05}}}},
        {"prism", {{{0.95, 0.1, 0.1}, {0.1, 0.95, 0.1}, {0.1, 0.1, 0.95}}}},
        {"solar_flare", {{{1.0, 0.92, 0.12}, {1.0, 0.45, 0.0}, {0.85, 0.05, 0.0}}}},
        {"glacier", {{{0.95, 0.98, 1.0}, {0.45, 0.82, 0.95}, {0.85, 0.95, 1.0}}}},
        {"peach", {{{1.0, 0.82, 0.72}, {1.0, 0.62, 0.45}, {1.0, 0.45, 0.55}}}},
        {"digital_ocean", {{{0.0, 0.45, 0.95}, {0.0, 0.95, 0.85}, {0.05, 0.12, 0.45}}}},
    };
    const auto found = table.find(key);
    if (found == table.end()) return std::nullopt;
    return found->second;
}

}  // namespace varnelle
