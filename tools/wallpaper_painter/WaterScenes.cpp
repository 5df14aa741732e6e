#include <vector>

#include "wallpaper_painter/Foliage.h"
#include "wallpaper_painter/Noise.h"
#include "wallpaper_painter/SceneFunctions.h"
#include "wallpaper_painter/Sky.h"
#include "wallpaper_painter/Terrain.h"

/// A river that carries the last light, and the sea at midnight.
namespace varnelle::painter {
namespace {

float riverCourse(float z) {
    return 1.25F * sine(z * 0.36F + 0.6F) * smoothStep(0, 3, z) + 0.55F * sine(z * 0.83F + 2.1F) - 0.25F +
           0.03F * z;
}

/// Negative under the river, rising from its banks to hills and far ranges.
float riverGround(float x, float z) {
    const float away = std::abs(x - riverCourse(z)) - (0.46F + 0.12F * sine(z * 1.1F) + 0.014F * z);
    const float bank = 0.10F * smoothStep(0, 0.35F, away) + std::min(away, 0.0F) * 0.2F;
    const float hills = smoothStep(0.2F, 4.5F, away) * (0.85F + 0.75F * noise(x * 0.28F, z * 0.24F, 901) +
                                                        0.16F * noise(x * 0.9F, z * 0.8F, 902));
    const float far = smoothStep(16, 44, z) * (3.4F + 2.8F * noise(x * 0.085F + 2, z * 0.07F, 903) +
                                               0.8F * noise(x * 0.27F, z * 0.2F, 904));
    return bank + hills + far * smoothStep(0, 9, away);
}

float flooded(float x, float z) {
    return std::max(riverGround(x, z), 0.0F);
}

}  // namespace

void paintRiverlight(Canvas& canvas) {
    const Ramp sky{{0.0F, 0x16224F}, {0.34F, 0x4A4A8C}, {0.6F, 0xB8688F},
                   {0.8F, 0xFF9E72}, {0.93F, 0xFFCE86}, {1.0F, 0xFFE9B4}};
    const Camera camera{{0, 1.75F, 0}, 0.40F, 1.15F};
    const float aspect = canvas.aspect();
    const Vec2 glow{0.55F * aspect, 0.385F};
    const auto skyAt = [&](float x, float y) {
        const float d = length({(x - glow.x) * 0.7F, y - glow.y});
        const float band = fractalNoise(x * 1.1F, y * 8.5F + 0.4F * sine(1.5F * x), 5, 905);
        Rgb c = sky(y / camera.horizon);
        const float cloud = smoothStep(-0.02F, 0.45F, band) * smoothStep(0.40F, 0.25F, y);
        c = mix(c, mix(hex(0x5A3F78), hex(0xFF8A70), smoothStep(0.05F, 0.33F, y)), 0.75F * cloud);
        return c + hex(0xFFB468) * (0.75F * exponential(-5 * d));
    };
    canvas.paint(skyAt);
    const Vec3 sun = normalized({0.10F, 0.13F, 1});
    Field depths(canvas.width(), canvas.height());
    const auto haze = [&](Rgb c, float depth, float x) {
        const Rgb far = mix(hex(0x6A5A8E), hex(0xFFB070), bell(x - glow.x, 0.24F));
        return mix(c, far, 1 - exponential(-std::max(depth - 2, 0.0F) / 34));
    };
    paintTerrain(canvas, depths, camera, {0.7F, 120}, flooded, [&](Vec3 p, float depth, float size) {
        const float x = aspect / 2 + camera.focal * p.x / depth;
        const float ground = riverGround(p.x, p.z);
        if (ground < 0) {
            // Water mirrors what lies as far above the horizon as it lies below, broken by ripples.
            const float y = camera.horizon + camera.focal * camera.eye.y / depth;
            const float calm = smoothStep(0.09F, 0.012F, size);
            const float ripple = fractalNoise(p.x * 5, p.z * 9, 3, 906) * calm;
            const float fine = noise(p.x * 22, p.z * 46, 907) * smoothStep(0.02F, 0.004F, size);
            const float mirroredY = 2 * camera.horizon - y + 0.05F * ripple + 0.02F * fine;
            const float mirroredX = x + 0.02F * ripple;
            Rgb mirror = skyAt(mirroredX, std::max(mirroredY * 0.92F, 0.0F));
            // Hills above the banks darken the water at its sides.
            const float bank = smoothStep(0.0F, -0.055F, ground);
            mirror = mix(mirror * hex(0x6A5F80), mirror, bank);
            const float glitter = smoothStep(0.35F, 0.8F, ripple + 0.6F * fine) * bell(x - glow.x, 0.30F);
            return haze(mirror * 1.02F + hex(0xFFC07A) * (0.5F * glitter), depth * 0.4F, x);
        }
        const Vec3 n = groundNormal(riverGround, p, std::max(0.03F, size));
        const float woods = smoothStep(-0.15F, 0.25F, noise(p.x * 0.7F, p.z * 0.6F, 908) + 0.2F);
        Rgb c = mix(hex(0x5E7040), hex(0x22382F), woods);
        c *= 1 + 0.2F * fractalNoise(p.x * 6, p.z * 5, 3, 909) +
             0.2F * smoothStep(0.01F, 0.002F, size) * noise(p.x * 60, p.z * 40, 910);
        const float facing = saturate(0.25F + dot(n, sun) * 1.6F);
        c = c * (hex(0xFFC08A) * (0.75F * square(facing)) + hex(0x6478D8) * (0.60F * n.y));
        // The wet margin shines.
        c += hex(0xFFB070) * (0.35F * bell(ground - 0.004F, 0.006F) * bell(x - glow.x, 0.5F));
        return haze(c, depth, x);
    });
    std::vector<Crown> crowns;
    Dice dice(911);
    for (int i = 0; i < 26000; ++i) {
        const float z = 1.5F + 40 * square(dice());
        const float x = dice(-0.9F, 0.9F) * (z + 1.2F);
        const float radius = dice(0.035F, 0.09F);
        const float chance = dice();
        const float ground = riverGround(x, z);
        if (ground < 0.03F ||
            chance > 0.55F * smoothStep(-0.05F, 0.35F, noise(x * 0.7F, z * 0.6F, 908) + 0.1F))
            continue;
        const float size = radius / camera.scale(z);
        const Vec2 at = camera.project(aspect, {x, ground + 1.1F * radius, z});
        if (size < 0.0006F || at.y > 1.2F) continue;
        const float warmth = bell(at.x - glow.x, 0.5F);
        const Rgb lit =
            haze(mix(hex(0x2C4258), hex(0xC88A4E), 0.04F + 0.6F * square(warmth)) * 0.5F, z, at.x);
        crowns.push_back({at,
                          {size, size * dice(1.1F, 1.7F)},
                          z,
                          lit,
                          haze(hex(0x0A1222), z, at.x),
                          {at.x < glow.x ? 0.6F : -0.6F, -0.8F},
                          static_cast<std::uint32_t>(i)});
    }
    paintCrowns(canvas, depths, std::move(crowns));
    canvas.repaint([&](Rgb c, float x, float y) {
        const float mist =
            0.5F * bell(y - 0.435F, 0.02F) * (0.6F + 0.6F * fractalNoise(x * 2, y * 16, 3, 912));
        return mix(c, hex(0xFFB98C), saturate(mist)) +
               hex(0xFF9A58) * (0.16F * exponential(-2.6F * length({x - glow.x, y - glow.y})));
    });
    addBloom(canvas, 0.75F, 0.04F, 0.3F);
}

void paintMidnight8(Canvas& canvas) {
    const Ramp sky{{0.0F, 0x02040F}, {0.4F, 0x071033}, {0.75F, 0x152A66}, {1.0F, 0x35559C}};
    const Camera camera{{0, 1.0F, 0}, 0.62F, 1.1F};
    const float aspect = canvas.aspect();
    const float pixel = canvas.pixel();
    const Vec2 moon{0.77F * aspect, 0.21F};
    const auto skyAt = [&](float x, float y) {
        const float d = length({x - moon.x, y - moon.y});
        Rgb c = sky(y / camera.horizon + 0.05F * sine(2 * x));
        c += hex(0x8FB0FF) * (0.20F * exponential(-2.6F * d) + 0.30F * exponential(-14 * d));
        const float wisp = fractalNoise(x * 1.1F + 0.6F * noise(x * 2, y * 4, 921), y * 5.2F, 5, 922);
        const float veil = smoothStep(0.02F, 0.5F, wisp) * smoothStep(0.02F, 0.2F, y);
        c = mix(c, hex(0x2A3F7C) + hex(0x9AB4F0) * (0.6F * exponential(-3.4F * d)), 0.55F * veil);
        return c;
    };
    canvas.paint(skyAt);
    addStars(canvas, 2300, 1.0F, 0.10F, 0.60F, 923);
    canvas.repaint([&](Rgb c, float x, float y) {
        const float d = length({x - moon.x, y - moon.y});
        if (y < camera.horizon) {
            const float seas = fractalNoise((x - moon.x) * 26 + 3, (y - moon.y) * 26, 4, 924);
            const float face = 1.25F - 0.42F * smoothStep(0.0F, 0.5F, seas) - 0.35F * square(d / 0.062F);
            return mix(c, hex(0xF4F2EC) * face, saturate(0.5F + (0.062F - d) / pixel));
        }
        // Waves: the nearer, the larger in view; what they mirror depends on how they lean.
        const float depth = camera.focal * camera.eye.y / std::max(y - camera.horizon, 0.0012F);
        const float wx = (x - aspect / 2) * depth / camera.focal;
        const float size = depth * pixel / camera.focal;
        const auto swell = [&](float px, float pz) {
            const float bend = 0.4F * noise(px * 0.5F, pz * 0.7F, 925);
            return 0.55F * noise(px * 0.8F + bend, pz * 2.1F, 926) +
                   0.30F * noise(px * 2.3F, pz * 5.2F + bend, 927) +
                   0.16F * noise(px * 6.1F, pz * 12.5F, 928) * smoothStep(0.05F, 0.01F, size) +
                   0.09F * noise(px * 15, pz * 31, 929) * smoothStep(0.018F, 0.004F, size);
        };
        const float step = 0.02F + size;
        const float here = swell(wx, depth);
        const float lean = (swell(wx, depth + step) - here) / step;
        const float tilt = (swell(wx + step, depth) - here) / step;
        const float mirroredY = std::max(camera.horizon - std::max(y - camera.horizon, 0.0F) * 0.8F -
                                             0.018F * std::abs(lean) - 0.03F * here,
                                         0.0F);
        const Rgb mirror = skyAt(x + 0.02F * tilt, mirroredY);
        const float grazing = 0.25F + 0.75F * exponential(-(y - camera.horizon) / 0.16F);
        Rgb water = hex(0x030A1E) + mirror * (0.62F * grazing) +
                    hex(0x16306A) * (0.30F * smoothStep(-0.3F, 0.8F, lean * 0.2F + here));
        // The moon's road on the water.
        const float across = (x - moon.x + 0.03F * tilt) / (0.035F + 0.32F * (y - camera.horizon));
        const float sparkle = smoothStep(0.15F, 1.0F, 0.35F * lean + 0.9F * here + 0.35F);
        const float road = exponential(-across * across) *
                           mix(0.75F, sparkle * 1.7F, smoothStep(0.0F, 0.06F, y - camera.horizon));
        water += hex(0xDCE6FF) * (0.85F * road * (0.4F + 0.6F * exponential(-(y - camera.horizon) / 0.2F)));
        const float edge = exponential(-(y - camera.horizon) / 0.01F);
        return mix(
            water,
            skyAt(x, camera.horizon) + hex(0xA9C2FF) * (0.5F * exponential(-square((x - moon.x) / 0.12F))),
            0.5F * edge);
    });
    // Headlands to both sides.
    struct Headland {
        float side, base, reach, height;
        std::uint32_t code, seed;
    };
    for (const Headland& land : {Headland{1, 0.622F, 0.95F, 0.085F, 0x1A2E5E, 931},
                                 Headland{-1, 0.626F, 0.70F, 0.15F, 0x101E44, 941},
                                 Headland{-1, 0.645F, 0.42F, 0.27F, 0x060D22, 951}}) {
        canvas.repaint([&](Rgb c, float x, float y) {
            const float from = land.side > 0 ? aspect - x : x;
            const float profile = power(saturate(1 - from / land.reach), 0.7F);
            if (profile <= 0 || y < land.base - 1.3F * land.height || y > land.base + 0.04F) return c;
            const float rough = 0.75F + 0.5F * ridgedNoise(x * 3.1F, 0.7F, 6, land.seed, 0.5F);
            const float top = land.base - land.height * profile * rough + 0.004F;
            if (y < top - pixel || y > land.base + 0.035F * profile) return c;
            const float shore = land.base + 0.03F * profile + 0.004F * noise(x * 40, 1, land.seed + 1);
            const float alpha = saturate(0.5F + (y - top) / (2 * pixel)) *
                                saturate(0.5F + (shore - y) / (2 * pixel)) * static_cast<float>(profile > 0);
            const float relief = ridgedNoise(x * 9, y * 12, 4, land.seed + 2) -
                                 ridgedNoise((x - 0.003F) * 9, (y + 0.002F) * 12, 4, land.seed + 2);
            Rgb rock = colorFromCode(land.code) * (1 + 1.4F * relief) +
                       hex(0x6A8AD8) * (0.30F * saturate(relief * 3) * saturate(1 - (y - top) / 0.10F));
            rock += hex(0x8FB0FF) * (0.20F * exponential(-(y - top) / 0.003F));
            rock = mix(rock, hex(0x2A4486), 0.35F * smoothStep(land.base - 0.05F, land.base + 0.01F, y));
            return mix(c, rock, alpha);
        });
    }
    addBloom(canvas, 0.5F, 0.025F, 0.35F);
    addBloom(canvas, 0.6F, 0.11F, 0.3F);
}

}  // namespace varnelle::painter
