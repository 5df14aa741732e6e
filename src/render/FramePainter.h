#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "foundation/CountedCache.h"
#include "imaging/Bitmap.h"
#include "media/VideoFrame.h"
#include "render/BubblePainter.h"
#include "render/CanvasBackground.h"
#include "render/CursorArt.h"
#include "render/FramePlan.h"

namespace varnelle {

/// Draws frame plans. Rows are finished one after the other while they are in the processor's cache:
/// background (darkened by the shadow) where it shows, the screen sampled from its YUV planes straight into
/// place, the cursor over it, cut by the mask, the camera bubble over all. Backgrounds with a still shadow,
/// the bubble's still shadow and the cursors' masters are kept. Safe to share between threads.
class FramePainter {
public:
    /// Draws onto `output`, whose size is the plan's canvas. `screen` and `camera` are the oriented source
    /// pictures; the camera's is read only if the plan has a bubble, and may else be empty. `isWanted` is
    /// asked now and then on the calling thread: once the background stands, before the first row, and every
    /// few rows. When it says no, drawing ends, and the result is false; `output` is then unfinished.
    bool paint(
        const FramePlan& plan, const VideoFrame& screen, const VideoFrame& camera, const BitmapView& output,
        const std::function<bool()>& isWanted = [] { return true; });

    /// Forgets what is kept.
    void removeCachedLayers();

private:
    /// What lies behind the screen, with the shadow on it if that is still; absent if nobody wants it any
    /// more.
    [[nodiscard]] std::optional<Bitmap> background(const FramePlan& plan,
                                                   const std::function<bool()>& isWanted);
    [[nodiscard]] std::optional<Bitmap> backdrop(const FramePlan& plan, const Bitmap& background,
                                                 const std::function<bool()>& isWanted);
    [[nodiscard]] std::shared_ptr<const CursorImageRecipe> cursorRecipe(CursorShape shape);

    CanvasBackground canvasBackground_;
    std::mutex backdropBuildLock_;  // one thread at a time builds a backdrop
    CountedCache<std::string, Bitmap> backdropCache_{4};
    CountedCache<int, std::shared_ptr<const CursorImageRecipe>> cursorCache_{10};
    BubbleShadowCache bubbleShadowCache_{10};
};

}  // namespace varnelle
