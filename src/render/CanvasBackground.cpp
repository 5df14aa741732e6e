#include "render/CanvasBackground.h"

#include <algorithm>
#include <cmath>

#include "imaging/FloatImage.h"

namespace varnelle {
namespace {

/// A soft spot of colour: place in fractions of the canvas, radius in fractions of its long side, and the
/// share of the radius that keeps the full colour.
struct Blob {
    double x, y, radius, core;
};

constexpr std::array<Blob, 6> kBlobs{{
    {0.13, 0.24, 0.46, 0.11},
    {0.88, 0.18, 0.40, 0.13},
    {0.76, 0.80, 0.52, 0.15},
    {0.18, 0.76, 0.44, 0.10},
    {0.50, 0.48, 0.58, 0.17},
    {0.93, 0.56, 0.34, 0.07},
}};

constexpr Color kClear{0, 0, 0, 0};

Color mix(const Color& a, const Color& b, double t) {
    const double f = std::clamp(t, 0.0, 1.0);
    return {(1 - f) * a.red + f * b.red, (1 - f) * a.green + f * b.green, (1 - f) * a.blue + f * b.blue,
            (1 - f) * a.alpha + f * b.alpha};
}

Color dimmed(const Color& color, double factor) {
    return {std::min(color.red * factor, 1.0), std::min(color.green * factor, 1.0),
            std::min(color.blue * factor, 1.0), color.alpha};
}

double luminance(const Color& color) {
    return 0.2126 * color.red + 0.7152 * color.green + 0.0722 * color.blue;
}

FloatImage gradientImage(const std::array<Color, 3>& colors, int width, int height) {
    const double w = width;
    const double h = height;
    const double longSide = std::max({w, h, 1.0});
    const double shortSide = std::max(std::min(w, h), 1.0);
    const Color& first = colors.front();
    const Color& last = colors.back();
    FloatImage image(width, height);

    paintLinearGradient(image, {0.04 * w, 0.07 * h}, dimmed(last, 0.42), {w - 0.03 * w, 0.94 * h},
                        mix(first, last, 0.38));
    for (std::size_t i = 0; i < colors.size(); ++i) {
        const Blob& blob = kBlobs.at(i % kBlobs.size());
        const double radius = longSide * blob.radius;
        // The core is computed in single precision.
        const auto core = static_cast<double>(static_cast<float>(radius) * static_cast<float>(blob.core));
        blendRadialGradient(image, {w * blob.x, h * blob.y}, core, mix(colors.at(i), first, 0.12), radius,
                            kClear, BlendMode::normal);
    }
    const Color& brightest =
        *std::max_element(colors.begin(), colors.end(),
                          [](const Color& a, const Color& b) { return luminance(a) < luminance(b); });
    blendRadialGradient(image, {w / 2 + 0.07 * w, 0.58 * h}, 0.06 * shortSide,
                        mix(brightest, Color{1, 1, 1, 1}, 0.22), 0.55 * longSide, kClear, BlendMode::screen);
    blendScreen(image, gaussianBlurred(image, std::min(0.1 * longSide, 96.0)), 0.13);
    blendRadialGradient(image, {w / 2, 0.52 * h}, 0.32 * longSide, {1, 1, 1, 1}, 0.94 * longSide,
                        {0.16, 0.16, 0.2, 1}, BlendMode::multiply);
    multiplyNoise(image, 0.18, 0.03, 0.985);
    return image;
}

}  // namespace

const std::vector<GradientWallpaper>& gradientWallpapers() {
    static const std::vector<GradientWallpaper> wallpapers{
        {"Tropical Breeze", "tropical", {{{0.0, 0.85, 0.95}, {0.95, 0.85, 0.0}, {1.0, 0.45, 0.0}}}},
        {"Berry Blast", "berry", {{{0.95, 0.0, 0.45}, {0.35, 0.0, 0.85}, {0.1, 0.05, 0.25}}}},
        {"Golden Hour", "golden_hour", {{{1.0, 0.65, 0.0}, {1.0, 0.35, 0.25}, {0.85, 0.1, 0.45}}}},
        {"Frosted Mint", "mint", {{{0.0, 0.95, 0.75}, {0.25, 0.85, 0.95}, {1.0, 1.0, 1.0}}}},
        {"Electric Lime", "lime", {{{0.75, 1.0, 0.0}, {0.0, 0.65, 0.32}, {0.05, 0.15, 0.05}}}},
        {"Prism Flow", "prism", {{{0.95, 0.1, 0.1}, {0.1, 0.95, 0.1}, {0.1, 0.1, 0.95}}}},
        {"Solar Flare", "solar_flare", {{{1.0, 0.92, 0.12}, {1.0, 0.45, 0.0}, {0.85, 0.05, 0.0}}}},
        {"Glacier Ice", "glacier", {{{0.95, 0.98, 1.0}, {0.45, 0.82, 0.95}, {0.85, 0.95, 1.0}}}},
        {"Peach Sorbet", "peach", {{{1.0, 0.82, 0.72}, {1.0, 0.62, 0.45}, {1.0, 0.45, 0.55}}}},
        {"Digital Ocean", "digital_ocean", {{{0.0, 0.45, 0.95}, {0.0, 0.95, 0.85}, {0.05, 0.12, 0.45}}}},
    };
    return wallpapers;
}

std::optional<Bitmap> paintGradient(std::string_view key, int widthPixels, int heightPixels) {
    for (const GradientWallpaper& wallpaper : gradientWallpapers()) {
        if (wallpaper.key == key) return gradientImage(wallpaper.colors, widthPixels, heightPixels).bitmap();
    }
    return std::nullopt;
}

Bitmap paintCanvasBackground(CanvasBackgroundStyle style, std::string_view wallpaperPath, int widthPixels,
                             int heightPixels) {
    Color plain{0, 0, 0, 1};
    if (style == CanvasBackgroundStyle::macOSWallpaper) {
        const std::string_view path = wallpaperPath.empty() ? kDefaultWallpaperPath : wallpaperPath;
        if (path.starts_with(kGradientScheme)) {
            if (auto picture =
                    paintGradient(path.substr(kGradientScheme.size()), widthPixels, heightPixels)) {
                return *picture;
            }
        }
        plain = kFallbackBackgroundColor;
    }
    Bitmap bitmap(widthPixels, heightPixels);
    fill(bitmap.view(), plain);
    return bitmap;
}

}  // namespace varnelle
