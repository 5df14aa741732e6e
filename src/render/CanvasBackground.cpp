#include "render/CanvasBackground.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>

#include "foundation/Log.h"
#include "foundation/Resources.h"
#include "imaging/FloatImage.h"
#include "media/PictureFile.h"
#include "render/AspectFill.h"
#include "render/WallpaperOptions.h"

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

Bitmap plainBitmap(const Color& color, int width, int height) {
    Bitmap bitmap(width, height);
    fill(bitmap.view(), color);
    return bitmap;
}

std::optional<VideoFrame> loaded(const std::filesystem::path& path) {
    // A frame is drawn many times; what is wrong with a picture is said once.
    static CountedCache<std::string, bool> complaints(100);
    try {
        // A relative path can't be resolved when the working directory is gone.
        const URL url(path);
        if (!url.exists()) return std::nullopt;
        return loadPicture(url);
    } catch (const std::exception& error) {
        if (!complaints.object(error.what())) logger(LogCategory::app).warn("{}", error.what());
        complaints.setObject(error.what(), true);
        return std::nullopt;
    }
}

/// The picture that a path tells, in its own size.
std::optional<VideoFrame> loadWallpaper(std::string_view path) {
    if (path.empty()) return std::nullopt;
    if (path.starts_with(kAssetScheme)) {
        const std::string_view resource = path.substr(kAssetScheme.size());
        if (auto picture = loaded(resourceURL(resource).path())) return picture;
        const std::size_t slash = resource.rfind('/');
        if (slash != std::string_view::npos) {
            if (auto picture = loaded(resourceURL(resource.substr(slash + 1)).path())) return picture;
        }
    }
    return loaded(path);
}

}  // namespace

std::optional<Bitmap> paintGradient(std::string_view key, int widthPixels, int heightPixels) {
    const auto colors = gradientColors(key);
    if (!colors) return std::nullopt;
    return gradientImage(*colors, widthPixels, heightPixels).bitmap();
}

Bitmap CanvasBackground::backgroundLayer(CanvasBackgroundStyle style, const std::string& wallpaperPath,
                                         CGSize canvas) {
    const std::string key =
        fmt::format("{:.2f}|{:.2f}|{}|{}", canvas.width, canvas.height, rawString(style), wallpaperPath);
    if (auto layer = backgroundLayerCache_.object(key)) return *layer;
    const std::lock_guard lock(backgroundLayerBuildLock_);
    if (auto layer = backgroundLayerCache_.object(key)) return *layer;
    Bitmap layer = builtLayer(style, wallpaperPath, canvas);
    backgroundLayerCache_.setObject(key, layer);
    return layer;
}

void CanvasBackground::removeCachedLayers() {
    backgroundLayerCache_.removeAllObjects();
    backgroundRecipeCache_.removeAllObjects();
    wallpaperCache_.removeAllObjects();
}

Bitmap CanvasBackground::builtLayer(CanvasBackgroundStyle style, const std::string& wallpaperPath,
                                    CGSize canvas) {
    const int width = static_cast<int>(canvas.width);
    const int height = static_cast<int>(canvas.height);
    if (style != CanvasBackgroundStyle::macOSWallpaper) return plainBitmap({0, 0, 0, 1}, width, height);
    const std::string path = wallpaperPath.empty() ? std::string(kDefaultWallpaperPath) : wallpaperPath;
    const std::string key = fmt::format("{}-{}-{}-0.0", path, canvas.width, canvas.height);
    if (auto picture = backgroundRecipeCache_.object(key)) return *picture;
    std::optional<Bitmap> picture;
    if (path.starts_with(kGradientScheme)) {
        picture = paintGradient(std::string_view(path).substr(kGradientScheme.size()), width, height);
    } else if (const auto source = wallpaper(path)) {
        picture = aspectFilled(*source, width, height);
    }
    if (!picture) picture = plainBitmap(kFallbackBackgroundColor, width, height);
    backgroundRecipeCache_.setObject(key, *picture);
    return *picture;
}

std::optional<VideoFrame> CanvasBackground::wallpaper(const std::string& path) {
    if (auto picture = wallpaperCache_.object(path)) return picture;
    auto picture = loadWallpaper(path);
    if (picture) wallpaperCache_.setObject(path, *picture);
    return picture;
}

std::optional<Bitmap> wallpaperPreview(const std::string& path, double width, double height, double scale) {
    static CountedCache<std::string, Bitmap> thumbnails(std::numeric_limits<std::size_t>::max());
    const int pixelWidth = std::max(static_cast<int>(std::ceil(width * scale)), 1);
    const int pixelHeight = std::max(static_cast<int>(std::ceil(height * scale)), 1);
    const std::string key = fmt::format("{}|{}x{}", path, pixelWidth, pixelHeight);
    if (auto thumbnail = thumbnails.object(key)) return thumbnail;
    std::optional<Bitmap> thumbnail;
    if (path.starts_with(kGradientScheme)) {
        thumbnail =
            paintGradient(std::string_view(path).substr(kGradientScheme.size()), pixelWidth, pixelHeight);
    } else if (const auto source = loadWallpaper(path)) {
        thumbnail = aspectFilled(*source, pixelWidth, pixelHeight);
    }
    if (thumbnail) thumbnails.setObject(key, *thumbnail);
    return thumbnail;
}

}  // namespace varnelle
