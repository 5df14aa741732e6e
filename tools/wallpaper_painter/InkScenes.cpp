#include "wallpaper_painter/Noise.h"
#include "wallpaper_painter/SceneFunctions.h"

/// Ink that was drawn through water, with veins of gold.
namespace varnelle::painter {

void paintWallpaper10(Canvas& canvas) {
    const Ramp ink{{0.0F, 0x030B1A},  {0.25F, 0x06283F}, {0.45F, 0x0C5468}, {0.62F, 0x3E9AA0},
                   {0.78F, 0xC4DCD2}, {0.9F, 0xF6EFE0},  {1.0F, 0xFFFBF2}};
    const Ramp gold{{0.0F, 0x5A3A12}, {0.5F, 0xD69A3A}, {1.0F, 0xFFEBB0}};
    const auto field = [](float x, float y, Vec2& drift) {
        const float px = 0.9F * x + 0.35F * y;
        const float py = 1.25F * y - 0.25F * x;
        const Vec2 q{fractalNoise(px * 1.1F, py * 1.1F, 4, 501),
                     fractalNoise(px * 1.1F + 4.1F, py * 1.1F + 1.7F, 4, 511)};
        drift = {fractalNoise(px + 1.9F * q.x + 8.3F, py + 1.9F * q.y, 4, 521),
                 fractalNoise(px + 1.9F * q.x, py + 1.9F * q.y + 2.8F, 4, 531)};
        return fractalNoise(px + 2.3F * drift.x, py + 2.3F * drift.y, 5, 541, 0.46F);
    };
    canvas.paint([&](float x, float y) {
        Vec2 drift;
        const float f = field(x, y, drift);
        const float tone = 0.40F + 1.05F * f + 0.42F * drift.x;
        Rgb c = ink(tone);
        c = mix(c, hex(0x0A1E4A), 0.55F * smoothStep(0.05F, 0.5F, drift.y));
        // Where the currents meet, gold has settled in fine veins.
        Vec2 other;
        const float fx = field(x + 0.002F, y, other);
        const float fy = field(x, y + 0.002F, other);
        const float steepness = std::max(length({fx - f, fy - f}) / 0.002F, 0.35F);
        const float vein = std::abs(f - 0.06F) / steepness;
        const float width = 0.0016F + 0.0034F * square(saturate(0.5F + noise(x * 2.3F, y * 2.3F, 551)));
        const float metal = smoothStep(width + 0.0009F, width - 0.0009F, vein);
        const float flake =
            smoothStep(0.52F, 0.62F, noise(x * 120, y * 120, 552)) * smoothStep(0.03F, 0.0F, vein);
        const float shine =
            saturate(0.45F + 0.5F * noise(x * 34, y * 34, 553) + 8 * (fx - f) / 0.02F * 0.02F);
        c *= 1 - 0.35F * smoothStep(0.012F, 0.0F, vein - width);
        c = mix(c, gold(shine), std::max(metal, 0.8F * flake));
        return c * (1 + 0.02F * noise(x * 250, y * 250, 554));
    });
    addBloom(canvas, 0.75F, 0.012F, 0.15F);
}

}  // namespace varnelle::painter
