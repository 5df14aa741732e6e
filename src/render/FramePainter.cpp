#include "render/FramePainter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <vector>

#include "imaging/Blending.h"
#include "imaging/RoundedRectMask.h"
#include "imaging/ShadowField.h"
#include "imaging/Sprite.h"
#include "render/PlanarFrame.h"

namespace varnelle {
namespace {

/// How often drawing asks whether it is still wanted: often enough for a tenth of a millisecond or so.
constexpr int kRowsBetweenQuestions = 16;

std::string backgroundKey(const FramePlan& plan) {
    return fmt::format("{:.2f}|{:.2f}|{}|{}", plan.canvas.width, plan.canvas.height,
                       rawString(plan.backgroundStyle), plan.wallpaperPath);
}

std::string backdropKey(const FramePlan& plan) {
    const CGRect& rect = plan.screenRect;
    return fmt::format("canvas|{:.2f}|{:.2f}|{:.2f}|{:.2f}|{:.2f}|{:.4f}|{:.4f}|{:.4f}|{}", rect.minX(),
                       rect.minY(), rect.width(), rect.height(), plan.cornerRadius, plan.shadow->opacity,
                       plan.shadow->radius, plan.shadow->scale, backgroundKey(plan));
}

ShadowField shadowField(const FramePlan& plan, int width, int height) {
    return {flipped(plan.screenRect, plan.canvas.height),
            plan.cornerRadius,
            plan.shadow->opacity,
            plan.shadow->radius,
            width,
            height,
            plan.shadow->scale};
}

/// The cursor of a plan as pixels, or nothing.
std::optional<Sprite> cursorSprite(const FramePlan& plan, const CursorImageRecipe& recipe) {
    const double scale = plan.cursor->pixelsPerPoint / recipe.masterScale;
    const bool isDrawable = std::isfinite(scale) && scale > 0 && std::isfinite(plan.cursor->hotSpot.x) &&
                            std::isfinite(plan.cursor->hotSpot.y);
    if (!isDrawable) return std::nullopt;
    return Sprite(recipe.image.view(), scale,
                  {plan.cursor->hotSpot.x - scale * recipe.hotSpot.x,
                   plan.canvas.height - plan.cursor->hotSpot.y - scale * recipe.hotSpot.y},
                  static_cast<int>(plan.canvas.width), static_cast<int>(plan.canvas.height));
}

/// Draws the rows of one frame.
class RowPainter {
public:
    RowPainter(const FramePlan& plan, const VideoFrame& screen, const BitmapView& output,
               const Bitmap& background, std::optional<ShadowField> movingShadow,
               std::optional<Sprite> cursor)
        : output_(output),
          background_(background),
          movingShadow_(std::move(movingShadow)),
          cursor_(std::move(cursor)),
          screenRect_(flipped(plan.screenRect, plan.canvas.height)),
          mask_(screenRect_, plan.hasMask ? plan.cornerRadius : 0, output.width),
          shares_(static_cast<std::size_t>(output.width)) {
        firstColumn_ = static_cast<int>(std::clamp<double>(std::floor(screenRect_.minX()), 0, output.width));
        endColumn_ = static_cast<int>(std::clamp<double>(std::ceil(screenRect_.maxX()), 0, output.width));
        if (endColumn_ > firstColumn_ && !screenRect_.isEmpty()) {
            sampler_.emplace(planarPicture(screen), screenRect_, firstColumn_, endColumn_ - firstColumn_);
            screenRow_.resize(static_cast<std::size_t>(endColumn_ - firstColumn_) * 4);
        }
    }

    void paintRow(int y) {
        const RoundedRectMask::Row mask = sampler_ ? mask_.row(y) : RoundedRectMask::Row{};
        if (mask.begin >= mask.end) {
            paintBackground(y, 0, output_.width);
            return;
        }
        // Under the wholly covered stretch the background needn't be drawn at all.
        paintBackground(y, 0, mask.fullBegin);
        paintBackground(y, mask.fullEnd, output_.width);

        sampler_->row(y, screenRow_.data());
        paintCursor(y);
        copyThroughMask(screenRow_.data() - std::ptrdiff_t{4} * firstColumn_, mask, output_.row(y));
    }

private:
    void paintBackground(int y, int from, int to) {
        if (to <= from) return;
        const std::uint8_t* source = background_.view().pixel(from, y);
        if (movingShadow_) {
            movingShadow_->row(y, from, to, shares_.data());
            darken(source, shares_.data() + from, to - from, output_.pixel(from, y));
        } else {
            std::memcpy(output_.pixel(from, y), source, static_cast<std::size_t>(to - from) * 4);
        }
    }

    void paintCursor(int y) {
        if (!cursor_ || y < cursor_->top() || y >= cursor_->bottom()) return;
        const int from = std::max(cursor_->left(), firstColumn_);
        const int to = std::min(cursor_->right(), endColumn_);
        if (to <= from) return;
        compositeOver(cursor_->row(y) + std::ptrdiff_t{4} * (from - cursor_->left()), to - from,
                      screenRow_.data() + std::ptrdiff_t{4} * (from - firstColumn_));
    }

    BitmapView output_;
    Bitmap background_;
    std::optional<ShadowField> movingShadow_;
    std::optional<Sprite> cursor_;
    CGRect screenRect_;
    RoundedRectMask mask_;
    int firstColumn_ = 0;
    int endColumn_ = 0;
    std::optional<PictureSampler> sampler_;
    std::vector<std::uint8_t> screenRow_;
    std::vector<float> shares_;
};

}  // namespace

bool FramePainter::paint(const FramePlan& plan, const VideoFrame& screen, const VideoFrame& camera,
                         const BitmapView& output, const std::function<bool()>& isWanted) {
    const std::optional<Bitmap> background = this->background(plan, isWanted);
    if (!background) return false;
    std::optional<ShadowField> movingShadow;
    if (plan.shadow && !plan.isShadowStill) {
        const RoundedRectMask mask(flipped(plan.screenRect, plan.canvas.height), plan.cornerRadius,
                                   output.width);
        if (!mask.coversCanvas(output.height)) movingShadow = shadowField(plan, output.width, output.height);
    }
    std::optional<Sprite> cursor;
    if (plan.cursor) cursor = cursorSprite(plan, *cursorRecipe(plan.cursor->shape));
    RowPainter painter(plan, screen, output, *background, std::move(movingShadow), std::move(cursor));
    std::optional<BubblePainter> bubble;
    if (plan.bubble && !camera.isEmpty()) bubble.emplace(plan, planarPicture(camera), bubbleShadowCache_);
    for (int y = 0; y < output.height; ++y) {
        if (y % kRowsBetweenQuestions == 0 && !isWanted()) return false;
        painter.paintRow(y);
        if (bubble) bubble->paintRow(y, output.row(y));
    }
    return true;
}

void FramePainter::removeCachedLayers() {
    canvasBackground_.removeCachedLayers();
    backdropCache_.removeAllObjects();
    cursorCache_.removeAllObjects();
    bubbleShadowCache_.removeAllObjects();
}

std::optional<Bitmap> FramePainter::background(const FramePlan& plan, const std::function<bool()>& isWanted) {
    const bool hasStillShadow = plan.shadow && plan.isShadowStill;
    if (hasStillShadow) {
        if (auto picture = backdropCache_.object(backdropKey(plan))) return picture;
    }
    Bitmap layer = canvasBackground_.backgroundLayer(plan.backgroundStyle, plan.wallpaperPath, plan.canvas);
    if (!isWanted()) return std::nullopt;
    return hasStillShadow ? backdrop(plan, layer, isWanted) : layer;
}

std::optional<Bitmap> FramePainter::backdrop(const FramePlan& plan, const Bitmap& background,
                                             const std::function<bool()>& isWanted) {
    const std::string key = backdropKey(plan);
    const std::lock_guard lock(backdropBuildLock_);
    if (auto picture = backdropCache_.object(key)) return picture;
    Bitmap picture(background.width(), background.height());
    ShadowField shadow = shadowField(plan, picture.width(), picture.height());
    std::vector<float> shares(static_cast<std::size_t>(picture.width()));
    for (int y = 0; y < picture.height(); ++y) {
        if (y % kRowsBetweenQuestions == 0 && !isWanted()) return std::nullopt;
        shadow.row(y, 0, picture.width(), shares.data());
        darken(background.view().row(y), shares.data(), picture.width(), picture.view().row(y));
    }
    backdropCache_.setObject(key, picture);
    return picture;
}

std::shared_ptr<const CursorImageRecipe> FramePainter::cursorRecipe(CursorShape shape) {
    const int key = static_cast<int>(shape);
    if (auto recipe = cursorCache_.object(key)) return *recipe;
    auto recipe = makeCursorRecipe(shape);
    cursorCache_.setObject(key, recipe);
    return recipe;
}

}  // namespace varnelle
