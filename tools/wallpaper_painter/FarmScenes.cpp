#include <vector>

#include "wallpaper_painter/Foliage.h"
#include "wallpaper_painter/Noise.h"
#include "wallpaper_painter/SceneFunctions.h"
#include "wallpaper_painter/Sky.h"
#include "wallpaper_painter/Terrain.h"

/// A wide valley of fields, hedges and trees in the light of an early morning. World units are about 100 m.
namespace varnelle::painter {
namespace {

const Vec3 kSun = normalized({-0.75F, 0.34F, 0.45F});

float valleyHeight(float x, float z) {
    const float roll =
        0.42F * noise(x * 0.17F + 3, z * 0.13F, 201) + 0.12F * noise(x * 0.43F, z * 0.37F, 202);
    const float sides = 0.011F * square(std::max(std::abs(x - 1) - 3.5F, 0.0F)) / (1 + 0.03F * std::abs(x));
    const float far = smoothStep(22, 60, z) * (2.4F + 1.9F * noise(x * 0.07F, z * 0.06F, 203) +
                                               0.5F * noise(x * 0.21F, z * 0.2F, 204));
    return roll + sides + far;
}

/// Fields as bricks in a bent grid: which one a place belongs to, and how far its border is.
struct Plot {
    std::uint32_t id;
    float border;  ///< world units
    Vec2 inside;   ///< along and across the rows of the crop
};

Plot plotAt(float x, float z) {
    const float bx = x + 0.55F * noise(x * 0.3F, z * 0.3F, 211);
    const float bz = z + 0.7F * noise(x * 0.26F + 7, z * 0.26F, 212);
    const float u = (0.94F * bx + 0.34F * bz) / 1.75F;
    const float across = (-0.34F * bx + 0.94F * bz) / 2.6F;
    const int row = floorToInt(across);
    const float shifted = u + 0.5F * random(row, 1, 213) + 0.37F * static_cast<float>(row & 1);
    const int column = floorToInt(shifted);
    // Some plots are split in two.
    const float fu = shifted - static_cast<float>(column);
    const float fa = across - static_cast<float>(row);
    float border = std::min(std::min(fu, 1 - fu) * 1.75F, std::min(fa, 1 - fa) * 2.6F);
    std::uint32_t id = hash(column, row, 214);
    if ((id & 3U) == 0) {
        border = std::min(border, std::abs(fa - 0.5F) * 2.6F);
        id = hash(id + (fa > 0.5F ? 1U : 2U));
    }
    const bool isTurned = (id & 8U) != 0;
    const Vec2 along{isTurned ? fu * 1.75F : fa * 2.6F, isTurned ? fa * 2.6F : fu * 1.75F};
    return {id, border, along};
}

Rgb cropColor(const Plot& plot, Vec3 p, float size) {
    static const Rgb kCrops[] = {hex(0xD9B45A), hex(0x7FA63C), hex(0x4F8A3A), hex(0xA9B84E), hex(0x8A6844),
                                 hex(0x5E9C46), hex(0xE3CC7A), hex(0x3E7436), hex(0xB7C46A), hex(0x96B04A)};
    Rgb c = kCrops[(plot.id >> 8) % std::size(kCrops)] * 0.86F;
    // Rows of the crop, until they are too fine to be seen.
    const float period = 0.045F + 0.05F * unitFloat(hash(plot.id + 5));
    const float rows = sine(plot.inside.y * kTwoPi / period + 0.8F * noise(p.x * 2, p.z * 2, 221)) *
                       smoothStep(0.45F * period, 0.12F * period, size);
    c *= 1 + 0.16F * rows;
    const float detail = smoothStep(0.06F, 0.01F, size);
    c *= 1 + 0.15F * noise(p.x * 1.7F, p.z * 1.7F, 222) + 0.13F * detail * noise(p.x * 23, p.z * 23, 223) +
         0.10F * smoothStep(0.012F, 0.003F, size) * noise(p.x * 90, p.z * 90, 224);
    // Grass margins.
    return mix(hex(0x55803A) * 0.75F, c, smoothStep(0.03F, 0.07F + size, plot.border));
}

}  // namespace

void paintFarmvalley(Canvas& canvas) {
    const Ramp sky{{0.0F, 0x5F9ED6}, {0.5F, 0xA9CFE8}, {0.85F, 0xF3E3C3}, {1.0F, 0xFBE3B4}};
    const float aspect = canvas.aspect();
    const Camera camera{{0, 1.55F, 0}, 0.36F, 1.25F};
    const auto hazeColor = [&](float x) {
        return mix(hex(0xB9CBD6), hex(0xFFE0A6), bell(x - 0.18F * aspect, 0.55F));
    };
    canvas.paint([&](float x, float y) {
        Rgb c = sky(y / camera.horizon);
        const float d = length({x - 0.15F * aspect, (y - 0.20F) * 1.1F});
        return c + hex(0xFFE3A8) * (0.55F * exponential(-4.5F * d) + 0.7F * exponential(-square(d / 0.05F)));
    });
    paintClouds(canvas, camera,
                {.base = 6,
                 .top = 8.5F,
                 .featureSize = 5.5F,
                 .cover = 0.44F,
                 .density = 0.8F,
                 .sun = kSun,
                 .sunlight = hex(0xFFF0D2) * 1.0F,
                 .skylight = hex(0x9FB9D0) * 0.75F,
                 .haze = hex(0xF6E2C4),
                 .hazeDepth = 60,
                 .offset = {2, 5},
                 .seed = 230});
    Field depths(canvas.width(), canvas.height());
    const auto haze = [&](Rgb c, float depth, float x) {
        return mix(c, hazeColor(x) * 0.92F, 1 - exponential(-std::max(depth - 2, 0.0F) / 30));
    };
    paintTerrain(canvas, depths, camera, {0.7F, 110}, valleyHeight, [&](Vec3 p, float depth, float size) {
        const Plot plot = plotAt(p.x, p.z);
        Rgb c = cropColor(plot, p, size);
        c = mix(c, hex(0x3F6B3B) * 0.7F,
                smoothStep(24, 40, p.z) * smoothStep(-0.2F, 0.3F, noise(p.x * 0.35F, p.z * 0.3F, 231)));
        const Vec3 n = groundNormal(valleyHeight, p, std::max(0.03F, size));
        const float facing = saturate(dot(n, kSun) * 1.9F);
        const float shadow = sunlight(valleyHeight, p, kSun, 6, 7, 0.10F);
        const float clouds = 0.62F + 0.38F * smoothStep(-0.25F, 0.25F, noise(p.x * 0.16F, p.z * 0.12F, 232));
        c = c * (hex(0xFFE1A8) * (1.15F * facing * shadow * clouds) +
                 hex(0x8FB2DC) * (0.34F * (0.6F + 0.4F * n.y)));
        return haze(c, depth, aspect / 2 + camera.focal * p.x / depth);
    });
    std::vector<Crown> crowns;
    Dice dice(233);
    const auto plant = [&](Vec3 foot, float radius) {
        const float depth = foot.z - camera.eye.z;
        const float size = radius / camera.scale(depth);
        const Vec2 at = camera.project(aspect, {foot.x, foot.y + 0.8F * radius, foot.z});
        if (at.x < -0.1F || at.x > aspect + 0.1F || size < 0.0006F || at.y > 1.2F) return;
        const float hue = dice();
        const Rgb lit = haze(mix(hex(0x7E9638), hex(0xA8943C), hue) * 0.70F, depth, at.x);
        const Rgb shaded = haze(mix(hex(0x14301E), hex(0x203620), hue) * 0.6F, depth, at.x);
        const auto seed = static_cast<std::uint32_t>(crowns.size());
        crowns.push_back({at, {size, size * dice(0.9F, 1.25F)}, depth, lit, shaded, {-0.8F, -0.6F}, seed});
        // Every third shadow is enough where crowns stand close.
        if (seed % 3 != 0 && radius < 0.08F) return;
        const Vec2 ground = camera.project(aspect, {foot.x + 1.2F * radius, foot.y, foot.z - 0.5F * radius});
        const float fade = exponential(-depth / 30);
        crowns.push_back({ground,
                          {size * 1.9F, size * 0.5F},
                          depth - 2 * radius,
                          {},
                          mix(Rgb{1, 1, 1}, hex(0x6F8096), 0.8F * fade),
                          {},
                          seed,
                          true});
    };
    for (int i = 0; i < 60000; ++i) {
        const float z = 1.6F + 50 * square(dice());
        const float x = dice(-0.85F, 0.85F) * (z + 1.5F);
        const Plot plot = plotAt(x, z);
        const bool isHedged = (plot.id & 0x30U) != 0;
        const bool isWood = noise(x * 0.35F, z * 0.3F, 231) > 0.2F && z > 14;
        if (plot.border < 0.05F && isHedged) {
            plant({x, valleyHeight(x, z), z}, dice(0.035F, 0.07F) * (dice() > 0.93F ? 2.2F : 1.0F));
        } else if (isWood ? dice() < 0.35F : dice() > 0.9985F) {
            plant({x, valleyHeight(x, z), z}, dice(0.09F, 0.16F));
        }
    }
    paintCrowns(canvas, depths, std::move(crowns));
    // The low sun draws veils into the hollow of the valley.
    canvas.repaint([&](Rgb c, float x, float y) {
        const float veil = 0.30F * bell(y - 0.43F - 0.02F * sine(3 * x), 0.035F) *
                           (0.6F + 0.6F * noise(x * 2.2F, y * 9, 234));
        const float glare = 0.20F * exponential(-2.6F * length({x - 0.15F * aspect, y - 0.25F}));
        return mix(c, hazeColor(x), saturate(veil)) + hex(0xFFD79A) * glare;
    });
}

}  // namespace varnelle::painter
