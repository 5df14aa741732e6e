#include "render/BubblePainter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "imaging/Blending.h"
#include "imaging/ShadowField.h"
#include "render/AspectFill.h"

namespace varnelle {
namespace {

int column(double x, double canvasWidth) {
    return static_cast<int>(std::clamp(x, 0.0, canvasWidth));
}

std::shared_ptr<const BubbleShadow> makeShadow(const FramePlan& plan, const CGRect& rect) {
    const FramePlan::Shadow& shadow = *plan.bubble->shadow;
    const auto [reach, lowering] = ShadowField::reach(shadow.radius, shadow.scale);
    auto result = std::make_shared<BubbleShadow>();
    result->left = column(std::floor(rect.minX() - reach), plan.canvas.width);
    result->top = column(std::floor(rect.minY() - reach), plan.canvas.height);
    result->width = column(std::ceil(rect.maxX() + reach), plan.canvas.width) - result->left;
    result->height = column(std::ceil(rect.maxY() + reach + lowering), plan.canvas.height) - result->top;
    if (result->width <= 0 || result->height <= 0) return nullptr;

    const int canvasWidth = static_cast<int>(plan.canvas.width);
    ShadowField field(rect, plan.bubble->cornerRadius, shadow.opacity, shadow.radius, canvasWidth,
                      static_cast<int>(plan.canvas.height), shadow.scale);
    std::vector<float> row(static_cast<std::size_t>(canvasWidth));
    result->transmittance.reserve(static_cast<std::size_t>(result->width) *
                                  static_cast<std::size_t>(result->height));
    for (int y = result->top; y < result->top + result->height; ++y) {
        field.row(y, result->left, result->left + result->width, row.data());
        result->transmittance.insert(result->transmittance.end(), row.begin() + result->left,
                                     row.begin() + result->left + result->width);
    }
    return result;
}

std::shared_ptr<const BubbleShadow> shadowOf(const FramePlan& plan, const CGRect& rect,
                                             BubbleShadowCache& shadows) {
    const FramePlan::Bubble& bubble = *plan.bubble;
    if (!bubble.shadow) return nullptr;
    if (!bubble.isShadowStill) return makeShadow(plan, rect);
    const std::string key =
        fmt::format("{:.2f}|{:.2f}|{:.2f}|{:.2f}|{:.2f}|{:.2f}|{:.4f}|{:.4f}|{:.4f}", rect.minX(),
                    rect.minY(), rect.width(), bubble.cornerRadius, plan.canvas.width, plan.canvas.height,
                    bubble.shadow->opacity, bubble.shadow->radius, bubble.shadow->scale);
    if (auto kept = shadows.object(key)) return *kept;
    auto shadow = makeShadow(plan, rect);
    shadows.setObject(key, shadow);
    return shadow;
}

void reversePixels(std::uint8_t* bgra, std::size_t count) {
    for (std::size_t i = 0, j = count; i + 1 < j; ++i) {
        --j;
        std::swap_ranges(bgra + 4 * i, bgra + 4 * i + 4, bgra + 4 * j);
    }
}

}  // namespace

BubblePainter::BubblePainter(const FramePlan& plan, const PlanarPicture& camera, BubbleShadowCache& shadows)
    : rect_(flipped(plan.bubble->rect, plan.canvas.height)),
      mask_(rect_, plan.bubble->cornerRadius, static_cast<int>(plan.canvas.width)),
      shadow_(shadowOf(plan, rect_, shadows)),
      firstColumn_(column(std::floor(rect_.minX()), plan.canvas.width)),
      endColumn_(column(std::ceil(rect_.maxX()), plan.canvas.width)),
      isMirrored_(plan.bubble->isMirrored) {
    if (endColumn_ <= firstColumn_ || camera.width <= 0 || camera.height <= 0) return;
    CGRect destination =
        aspectFillRect({static_cast<double>(camera.width), static_cast<double>(camera.height)}, rect_);
    if (isMirrored_) {
        // Drawn unmirrored where the reversal of the columns brings it to its place.
        destination.origin.x += firstColumn_ + endColumn_ - destination.minX() - destination.maxX();
    }
    sampler_.emplace(camera, destination, firstColumn_, endColumn_ - firstColumn_);
    row_.resize(static_cast<std::size_t>(endColumn_ - firstColumn_) * 4);
}

void BubblePainter::paintRow(int y, std::uint8_t* bgra) {
    if (shadow_ && y >= shadow_->top && y < shadow_->top + shadow_->height) {
        std::uint8_t* pixels = bgra + std::ptrdiff_t{4} * shadow_->left;
        const float* shares =
            shadow_->transmittance.data() + std::ptrdiff_t{y - shadow_->top} * shadow_->width;
        darken(pixels, shares, shadow_->width, pixels);
    }
    const RoundedRectMask::Row mask = sampler_ ? mask_.row(y) : RoundedRectMask::Row{};
    if (mask.begin >= mask.end) return;
    sampler_->row(y, row_.data());
    if (isMirrored_) reversePixels(row_.data(), row_.size() / 4);
    const std::uint8_t* picture = row_.data() - std::ptrdiff_t{4} * firstColumn_;
    copyThroughMask(picture, mask, bgra);
}

}  // namespace varnelle
