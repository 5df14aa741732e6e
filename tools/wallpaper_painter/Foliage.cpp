#include "wallpaper_painter/Foliage.h"

#include "wallpaper_painter/Noise.h"

namespace varnelle::painter {
namespace {

void paintCrownRow(Canvas& canvas, const Field& depths, const Crown& crown, int y) {
    const float pixel = canvas.pixel();
    const float reach = 1.3F * crown.radius.x;
    const int first = std::max(static_cast<int>((crown.center.x - reach) / pixel), 0);
    const int last = std::min(static_cast<int>((crown.center.x + reach) / pixel) + 1, canvas.width() - 1);
    const float v = (canvas.centerY(y) - crown.center.y) / crown.radius.y;
    const float softness = std::max(0.1F, pixel / crown.radius.x);
    for (int x = first; x <= last; ++x) {
        if (depths.row(y)[x] < crown.depth * 0.985F) continue;
        const float u = (canvas.centerX(x) - crown.center.x) / crown.radius.x;
        Rgb& target = canvas.row(y)[x];
        if (crown.isCast) {
            target = target * mix(Rgb{1, 1, 1}, crown.shaded, smoothStep(1.25F, 0.5F, length({u, v})));
            continue;
        }
        const float clumps = noise(u * 2.1F, v * 2.1F, crown.seed);
        const float leaves = noise(u * 6.3F, v * 6.3F, crown.seed + 1);
        const float r = length({u, v}) + 0.2F * clumps + 0.13F * leaves;
        const float alpha = smoothStep(1 + softness, 1 - softness, r);
        if (alpha <= 0) continue;
        const float facing = dot({u, v}, crown.light);
        const float light = smoothStep(-0.6F, 1.0F, facing + 0.5F * leaves - 0.4F * clumps);
        target = mix(target, mix(crown.shaded, crown.lit, light), alpha);
    }
}

/// Raises coverage to that of a stroke with round ends which tapers from one radius to another.
void coverStroke(Field& coverage, Vec2 a, Vec2 b, float radiusA, float radiusB) {
    const float pixel = coverage.pixel();
    const float reach = std::max(radiusA, radiusB) + pixel;
    const int left = std::max(static_cast<int>((std::min(a.x, b.x) - reach) / pixel), 0);
    const int right = std::min(static_cast<int>((std::max(a.x, b.x) + reach) / pixel), coverage.width() - 1);
    const int top = std::max(static_cast<int>((std::min(a.y, b.y) - reach) / pixel), 0);
    const int bottom =
        std::min(static_cast<int>((std::max(a.y, b.y) + reach) / pixel), coverage.height() - 1);
    const Vec2 way = b - a;
    const float scale = 1 / std::max(dot(way, way), 1e-12F);
    for (int y = top; y <= bottom; ++y) {
        for (int x = left; x <= right; ++x) {
            const Vec2 p{coverage.centerX(x) - a.x, coverage.centerY(y) - a.y};
            const float t = saturate(dot(p, way) * scale);
            const float distance = length(p - way * t) - mix(radiusA, radiusB, t);
            // Strokes thinner than a pixel cover only a share of it.
            const float most = std::min(1.0F, 2 * mix(radiusA, radiusB, t) / pixel);
            float& value = coverage.row(y)[x];
            value = std::max(value, most * saturate(0.5F - distance / pixel));
        }
    }
}

void coverConifer(Field& coverage, const Conifer& tree) {
    Dice dice(tree.seed);
    const Vec2 tip{tree.foot.x + tree.height * dice(-0.015F, 0.015F), tree.foot.y - tree.height};
    coverStroke(coverage, tree.foot, tip, tree.height * 0.014F, tree.height * 0.002F);
    const float lean = dice(0.85F, 1.15F);
    const int whorls = 26 + static_cast<int>(dice(0, 10));
    for (int i = 0; i < whorls; ++i) {
        const float t = (static_cast<float>(i) + dice(0, 0.7F)) / static_cast<float>(whorls);
        // From the top down: short and rising, then long and drooping.
        const Vec2 from = tip + (tree.foot - tip) * (0.02F + 0.9F * t);
        const float spread = tree.width * 0.5F * power(t, 0.8F) * (1 - 0.25F * smoothStep(0.85F, 1, t));
        for (const float side : {-1.0F, 1.0F}) {
            const float reach =
                spread * dice(0.55F, 1.12F) * (side > 0 ? lean : 2 - lean) + tree.width * 0.02F;
            const float droop = tree.height * (0.012F + 0.05F * t) * dice(0.5F, 1.3F);
            const Vec2 middle{from.x + side * reach * 0.55F, from.y + droop * 0.7F};
            const Vec2 end{from.x + side * reach, from.y + droop * 0.85F};
            const float thick = tree.height * (0.006F + 0.010F * t) * dice(0.7F, 1.2F);
            coverStroke(coverage, from, middle, thick * 1.25F, thick);
            coverStroke(coverage, middle, end, thick, thick * 0.12F);
            coverStroke(coverage, middle, {middle.x - side * reach * 0.12F, middle.y + thick * 2.6F},
                        thick * 0.7F, thick * 0.1F);
        }
    }
}

}  // namespace

void paintCrowns(Canvas& canvas, const Field& depths, std::vector<Crown> crowns) {
    std::stable_sort(crowns.begin(), crowns.end(), [](const Crown& a, const Crown& b) {
        return a.isCast != b.isCast ? a.isCast : a.depth > b.depth;
    });
    parallelRows(canvas.height(), [&](int y) {
        const float v = canvas.centerY(y);
        for (const Crown& crown : crowns) {
            if (std::abs(v - crown.center.y) < 1.3F * crown.radius.y) paintCrownRow(canvas, depths, crown, y);
        }
    });
}

void coverWithConifers(Field& coverage, const std::vector<Conifer>& conifers) {
    for (const Conifer& tree : conifers) coverConifer(coverage, tree);
}

}  // namespace varnelle::painter
