#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/CountedCache.h"
#include "foundation/Geometry.h"
#include "imaging/Bitmap.h"
#include "media/VideoFrame.h"
#include "model/OverlayModels.h"

namespace varnelle {

/// Shown where a wallpaper can't be: a dark slate.
inline constexpr Color kFallbackBackgroundColor{0.09, 0.1, 0.13, 1};

/// Paints a gradient by its key; absent for an unknown key. Deterministic.
std::optional<Bitmap> paintGradient(std::string_view key, int widthPixels, int heightPixels);

/// Builds what lies behind the screen, and keeps it: black for `none`, else the wallpaper (the default one if
/// the path is empty), or the fallback colour if there is no such wallpaper, which isn't looked for again
/// until the caches are emptied. Safe to share between threads; never fails for want of a picture.
class CanvasBackground {
public:
    /// An opaque picture of the canvas's size, in whole pixels.
    [[nodiscard]] Bitmap backgroundLayer(CanvasBackgroundStyle style, const std::string& wallpaperPath,
                                         CGSize canvas);

    /// Forgets what was built and the pictures that were read for it.
    void removeCachedLayers();

private:
    [[nodiscard]] Bitmap builtLayer(CanvasBackgroundStyle style, const std::string& wallpaperPath,
                                    CGSize canvas);
    [[nodiscard]] std::optional<VideoFrame> wallpaper(const std::string& path);

    std::mutex backgroundLayerBuildLock_;  // one thread at a time builds a layer
    CountedCache<std::string, Bitmap> backgroundLayerCache_{10};
    CountedCache<std::string, Bitmap> backgroundRecipeCache_{10};
    CountedCache<std::string, VideoFrame> wallpaperCache_{5};  // in their own size
};

/// A wallpaper as a thumbnail of `width` by `height` points at `scale` pixels a point; absent for a path that
/// leads to nothing. Kept for the life of the process. Any thread.
std::optional<Bitmap> wallpaperPreview(const std::string& path, double width, double height, double scale);

}  // namespace varnelle
