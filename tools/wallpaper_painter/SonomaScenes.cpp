#include <vector>

#include "wallpaper_painter/Foliage.h"
#include "wallpaper_painter/Noise.h"
#include "wallpaper_painter/SceneFunctions.h"
#include "wallpaper_painter/Sky.h"
#include "wallpaper_painter/Terrain.h"

/// Wine country through the hours of a day: smooth hills, rows of vines, single oaks, big skies.
namespace varnelle::painter {
namespace {

/// Smooth hills which rise to both sides and in the distance.
struct Hills {
    float roll;     ///< height of the near swells
    float flank;    ///< how much the sides rise
    float distant;  ///< height of the far ranges
    float farFrom;  ///< where those begin
    std::uint32_t seed;

    float operator()(float x, float z) const {
        const float near =
            roll * (noise(x * 0.19F, z * 0.16F, seed) + 0.28F * noise(x * 0.41F + 3, z * 0.37F, seed + 1));
        const float sides = flank * square(x) / (30 + square(x)) * smoothStep(1, 12, z);
        const float far = smoothStep(farFrom, farFrom * 2.6F, z) * distant *
                          (0.8F + 0.9F * noise(x * 0.045F, z * 0.06F, seed + 2) +
                           0.25F * noise(x * 0.13F, z * 0.15F, seed + 3));
        return near + sides + far;
    }
};

/// The light of an hour.
struct Hour {
    Vec3 sun;
    Rgb sunlight;
    Rgb skylight;
    Rgb haze;
    Rgb hazeToSun;
    float sunX;  ///< where the haze glows, in frame heights
    float hazeDepth;
};

struct Ground {
    Rgb grass;
    Rgb dry;
    Rgb vine;
    Rgb soil;
    float vineyards;  ///< share of the land under vines, 0 to 1
    float rowPeriod = 0.11F;
};

Rgb hazed(const Hour& hour, Rgb c, float depth, float x) {
    const Rgb far = mix(hour.haze, hour.hazeToSun, bell(x - hour.sunX, 0.45F));
    return mix(c, far, 1 - exponential(-std::max(depth - 1, 0.0F) / hour.hazeDepth));
}

Rgb groundColor(const Ground& ground, Vec3 p, float size, std::uint32_t seed) {
    const float patch = noise(p.x * 0.22F, p.z * 0.2F, seed + 10);
    Rgb c = mix(ground.grass, ground.dry,
                smoothStep(-0.5F, 0.6F, patch + 0.35F * noise(p.x * 0.9F, p.z * 0.8F, seed + 11)));
    const float fine = smoothStep(0.03F, 0.006F, size);
    c *= 1 + 0.12F * noise(p.x * 3.1F, p.z * 2.2F, seed + 12) +
         0.14F * fine * noise(p.x * 34, p.z * 20, seed + 13) +
         0.12F * smoothStep(0.008F, 0.002F, size) * noise(p.x * 130, p.z * 60, seed + 14);
    // Vineyards keep to gentle blocks with crisp borders; each has rows of a direction of its own.
    const float block = noise(p.x * 0.21F + 9, p.z * 0.17F, seed + 15) + (ground.vineyards - 0.5F) * 1.4F;
    const float inside = smoothStep(0, 0.02F + size * 0.3F, block);
    if (inside > 0) {
        const float bend = 0.5F * noise(p.x * 0.15F, p.z * 0.15F, seed + 16);
        const float angle =
            0.35F * static_cast<float>(floorToInt(2.5F * noise(p.x * 0.09F, p.z * 0.07F, seed + 17)));
        const float u = (p.x + bend) * cosine(angle) + p.z * sine(angle);
        const float v = p.z * cosine(angle) - p.x * sine(angle);
        const float visible = smoothStep(0.5F * ground.rowPeriod, 0.14F * ground.rowPeriod, size);
        const float clumps = 0.25F * noise(u * 9, v * 14, seed + 18) * visible;
        const float row = 0.5F + (0.5F * sine(u * kTwoPi / ground.rowPeriod) + clumps) * visible;
        const Rgb vines = mix(ground.soil, ground.vine, smoothStep(0.3F, 0.62F, row));
        c = mix(c, vines, inside);
    }
    return c;
}

/// The hills with light and haze on them; returns what hides what.
Field paintHills(Canvas& canvas, const Camera& camera, const Hills& hills, const Hour& hour,
                 const Ground& ground) {
    Field depths(canvas.width(), canvas.height());
    const float aspect = canvas.aspect();
    paintTerrain(canvas, depths, camera, {0.5F, 160}, hills, [&](Vec3 p, float depth, float size) {
        Rgb c = groundColor(ground, p, size, hills.seed);
        const Vec3 n = groundNormal(hills, p, std::max(0.04F, size));
        const float facing = saturate(0.06F + dot(n, hour.sun) * 1.5F);
        const float shadow = sunlight(hills, p, hour.sun, 7, 7, 0.09F);
        // Crests catch more of the sky than hollows.
        const float open =
            saturate(0.75F + 1.2F * (p.y - 0.25F * (hills(p.x + 0.9F, p.z) + hills(p.x - 0.9F, p.z) +
                                                    hills(p.x, p.z + 0.9F) + hills(p.x, p.z - 0.9F))));
        c = c * (hour.sunlight * (facing * shadow) + hour.skylight * (open * (0.55F + 0.45F * n.y)));
        return hazed(hour, c, depth, aspect / 2 + camera.focal * p.x / depth);
    });
    return depths;
}

struct Grove {
    int tries;
    float share;  ///< of the places that get a tree
    Rgb lit;
    Rgb shaded;
    Vec2 light;        ///< towards the light, in the frame
    float shadowSide;  ///< which way shadows fall, -1 or 1
};

void plantOaks(Canvas& canvas, const Field& depths, const Camera& camera, const Hills& hills,
               const Hour& hour, const Grove& grove) {
    std::vector<Crown> crowns;
    Dice dice(hills.seed + 40);
    const float aspect = canvas.aspect();
    for (int i = 0; i < grove.tries; ++i) {
        const float z = 1.8F + 60 * square(dice());
        const float x = dice(-0.9F, 0.9F) * (z + 1);
        const float gather = noise(x * 0.4F, z * 0.35F, hills.seed + 41);
        const float radius = dice(0.05F, 0.12F);
        const float chance = dice();
        if (chance > grove.share * smoothStep(0.05F, 0.6F, gather) + 0.01F * grove.share) continue;
        const Vec3 foot{x, hills(x, z), z};
        const float depth = z - camera.eye.z;
        const float size = radius / camera.scale(depth);
        const Vec2 at = camera.project(aspect, {x, foot.y + 0.75F * radius, z});
        if (size < 0.0007F || at.y > 1.2F) continue;
        const auto seed = static_cast<std::uint32_t>(i);
        const Rgb lit = hazed(hour, grove.lit * dice(0.75F, 1.1F), depth, at.x);
        crowns.push_back({at,
                          {size * 1.15F, size},
                          depth,
                          lit,
                          hazed(hour, grove.shaded, depth, at.x),
                          grove.light,
                          seed});
        const Vec2 ground =
            camera.project(aspect, {x + grove.shadowSide * 1.5F * radius, foot.y, z - 0.3F * radius});
        const float fade = exponential(-depth / hour.hazeDepth);
        crowns.push_back({ground,
                          {size * 2.2F, size * 0.42F},
                          depth - 2 * radius,
                          {},
                          mix(Rgb{1, 1, 1}, hex(0x5F6A8A), 0.85F * fade),
                          {},
                          seed,
                          true});
    }
    paintCrowns(canvas, depths, std::move(crowns));
}

}  // namespace

void paintSonomaLight(Canvas& canvas) {
    const Ramp sky{{0.0F, 0x6FB4EA}, {0.6F, 0xB9DDF4}, {1.0F, 0xF2F6EE}};
    const Camera camera{{0, 1.35F, 0}, 0.40F, 1.1F};
    const Hills hills{0.62F, 2.2F, 3.2F, 20, 300};
    const Hour hour{normalized({0.62F, 0.5F, 0.28F}),
                    hex(0xFFF3D6) * 1.25F,
                    hex(0xA8CCF0) * 0.42F,
                    hex(0xC3DCEB),
                    hex(0xEFF3E6),
                    1.45F,
                    34};
    canvas.paint([&](float x, float y) {
        return sky(y / camera.horizon) +
               hex(0xFFF7E0) * (0.35F * exponential(-2.8F * length({x - 1.5F, y - 0.05F})));
    });
    paintClouds(canvas, camera,
                {.base = 7,
                 .top = 9,
                 .featureSize = 7,
                 .cover = 0.36F,
                 .density = 0.55F,
                 .sun = hour.sun,
                 .sunlight = hex(0xFFFFFF) * 1.05F,
                 .skylight = hex(0xC9DDF0) * 0.85F,
                 .haze = hex(0xEAF3F4),
                 .hazeDepth = 70,
                 .offset = {9, 1},
                 .seed = 301});
    const Ground ground{hex(0x86B04A) * 0.95F, hex(0xD9C978) * 0.95F, hex(0x4C8A3C) * 0.9F,
                        hex(0xC2A873) * 0.9F, 0.52F};
    const Field depths = paintHills(canvas, camera, hills, hour, ground);
    plantOaks(canvas, depths, camera, hills, hour,
              {9000, 0.32F, hex(0x8FB050) * 0.9F, hex(0x21402A), {0.7F, -0.7F}, -1});
}

void paintSonomaEvening(Canvas& canvas) {
    const Ramp sky{
        {0.0F, 0x2E2A66}, {0.3F, 0x7A4A8F}, {0.58F, 0xD9728A}, {0.82F, 0xFFAA6E}, {1.0F, 0xFFDD9A}};
    const Camera camera{{0, 1.5F, 0}, 0.52F, 1.2F};
    const Hills hills{0.70F, 2.0F, 4.2F, 16, 320};
    const float sunX = 0.42F;
    const Hour hour{normalized({-0.80F, 0.24F, 0.50F}),
                    hex(0xFFCB94) * 1.9F,
                    hex(0x7C86E0) * 0.62F,
                    hex(0x8A6AA4),
                    hex(0xFFAE7A),
                    sunX,
                    60};
    canvas.paint([&](float x, float y) {
        const float d = length({x - sunX, y - 0.375F});
        Rgb c = sky(y / camera.horizon + 0.06F * noise(x * 1.2F, y * 3, 321));
        return c + hex(0xFFB060) * (0.7F * exponential(-4 * d)) +
               hex(0xFFF0C8) * (1.6F * smoothStep(0.036F, 0.030F, d));
    });
    paintClouds(canvas, camera,
                {.base = 5,
                 .top = 6.1F,
                 .featureSize = 4.6F,
                 .cover = 0.47F,
                 .density = 0.55F,
                 .sun = hour.sun,
                 .sunlight = hex(0xFF9A66) * 1.35F,
                 .skylight = hex(0x6A4A8C) * 0.8F,
                 .haze = hex(0xFFB98A),
                 .hazeDepth = 60,
                 .offset = {3, 3},
                 .seed = 322});
    const Ground ground{hex(0x6E9440), hex(0xC2A858), hex(0x3F7A38), hex(0xA87858), 0.85F, 0.14F};
    const Field depths = paintHills(canvas, camera, hills, hour, ground);
    plantOaks(canvas, depths, camera, hills, hour,
              {9000, 0.3F, hex(0x7A4E2E), hex(0x150F22), {-0.9F, -0.5F}, 1});
    canvas.repaint([&](Rgb c, float x, float y) {
        return c + hex(0xFF8A50) * (0.16F * exponential(-2.6F * length({x - sunX, y - 0.42F})));
    });
    addBloom(canvas, 0.8F, 0.04F, 0.3F);
}

void paintSonomaClouds(Canvas& canvas) {
    const Ramp sky{{0.0F, 0x1F63B5}, {0.45F, 0x4E97D8}, {0.8F, 0x9CCBEC}, {1.0F, 0xDDEBEF}};
    const Camera camera{{0, 1.1F, 0}, 0.80F, 0.95F};
    const Hills hills{0.42F, 1.1F, 3.6F, 14, 340};
    const Hour hour{normalized({-0.55F, 0.55F, -0.45F}),
                    hex(0xFFEFC8) * 1.15F,
                    hex(0x9CC0EA) * 0.4F,
                    hex(0xA9C9E2),
                    hex(0xDCE8EA),
                    0.3F,
                    26};
    canvas.paint([&](float, float y) { return sky(y / camera.horizon); });
    paintClouds(canvas, camera,
                {.base = 6.5F,
                 .top = 10.2F,
                 .featureSize = 3.0F,
                 .cover = 0.41F,
                 .density = 1.3F,
                 .sun = hour.sun,
                 .sunlight = hex(0xFFF6E4) * 1.25F,
                 .skylight = hex(0x9CBDE4) * 0.85F,
                 .haze = hex(0xCFE2EE),
                 .hazeDepth = 42,
                 .offset = {1.5F, 2},
                 .seed = 341});
    const Ground ground{hex(0x6C9A3E), hex(0xC9B763), hex(0x3F7434), hex(0xA98F5C), 0.45F};
    const Field depths = paintHills(canvas, camera, hills, hour, ground);
    plantOaks(canvas, depths, camera, hills, hour,
              {9000, 0.35F, hex(0x86A048), hex(0x1D3826), {-0.7F, -0.7F}, 1});
}

void paintSonomaHorizon(Canvas& canvas) {
    const Ramp sky{
        {0.0F, 0x4C6FA8}, {0.35F, 0x8FA8CC}, {0.65F, 0xE8C3B8}, {0.86F, 0xFFD9A8}, {1.0F, 0xFFEBC2}};
    const Camera camera{{0, 0.85F, 0}, 0.58F, 0.9F};
    const Hills hills{0.30F, 1.3F, 3.8F, 22, 360};
    const float sunX = 1.24F;
    const Hour hour{normalized({0.55F, 0.22F, 0.65F}),
                    hex(0xFFDDAE) * 2.0F,
                    hex(0x9FB4F0) * 0.62F,
                    hex(0xC3B4C4),
                    hex(0xFFDCA6),
                    sunX,
                    55};
    canvas.paint([&](float x, float y) {
        const float d = length({x - sunX, y - 0.515F});
        Rgb c = sky(y / camera.horizon);
        // Thin bands of high cloud, lit from beneath.
        const float band = fractalNoise(x * 0.9F, y * 7.5F + 0.35F * sine(1.3F * x), 5, 361);
        const float veil =
            smoothStep(0.0F, 0.55F, band + 0.12F) * smoothStep(0.0F, 0.12F, y) * smoothStep(0.58F, 0.3F, y);
        c = mix(c, mix(hex(0xF6B7A6), hex(0xFFE8CC), smoothStep(0.1F, 0.5F, band)), 0.72F * veil);
        return c + hex(0xFFC880) * (0.6F * exponential(-4.2F * d)) +
               hex(0xFFF6DC) * (1.5F * smoothStep(0.044F, 0.038F, d));
    });
    const Ground ground{hex(0x7E9A4A), hex(0xC9B26A), hex(0x477A2C), hex(0xB8875A), 1.15F, 0.22F};
    const Field depths = paintHills(canvas, camera, hills, hour, ground);
    plantOaks(canvas, depths, camera, hills, hour,
              {6000, 0.2F, hex(0x5E6A38), hex(0x16241E), {0.6F, -0.7F}, -1});
    canvas.repaint([&](Rgb c, float x, float y) {
        const float mist = 0.5F * bell(y - 0.60F, 0.018F) * (0.6F + 0.5F * noise(x * 2, y * 20, 362));
        return mix(c, hex(0xFFDDB8), saturate(mist)) +
               hex(0xFFB878) * (0.16F * exponential(-2.4F * length({x - sunX, y - 0.52F})));
    });
    addBloom(canvas, 0.8F, 0.05F, 0.3F);
}

void paintSonomaDark(Canvas& canvas) {
    const Ramp sky{{0.0F, 0x060B1E}, {0.5F, 0x0E1E45}, {0.85F, 0x223A70}, {1.0F, 0x3D5488}};
    const Camera camera{{0, 1.5F, 0}, 0.47F, 1.05F};
    const Hills hills{0.75F, 2.6F, 3.6F, 18, 380};
    const Hour hour{normalized({0.5F, 0.42F, 0.6F}),
                    hex(0xA8C2F8) * 0.80F,
                    hex(0x3A55A0) * 0.40F,
                    hex(0x24396B),
                    hex(0x4A649C),
                    1.25F,
                    26};
    const float moonX = 1.36F;
    const float moonY = 0.17F;
    canvas.paint([&](float x, float y) {
        const float d = length({x - moonX, y - moonY});
        return sky(y / camera.horizon) +
               hex(0x7A9AE0) * (0.22F * exponential(-3.2F * d) + 0.25F * exponential(-18 * d));
    });
    addStars(canvas, 2600, 0.9F, 0.05F, 0.47F, 381);
    paintClouds(canvas, camera,
                {.base = 6,
                 .top = 7,
                 .featureSize = 6,
                 .cover = 0.40F,
                 .density = 0.4F,
                 .sun = hour.sun,
                 .sunlight = hex(0xA9C2FF) * 0.30F,
                 .skylight = hex(0x1F2F5C) * 0.6F,
                 .haze = hex(0x31497C),
                 .hazeDepth = 60,
                 .offset = {4, 8},
                 .seed = 382});
    canvas.repaint([&](Rgb c, float x, float y) {
        const float d = length({x - moonX, y - moonY});
        const float face = 0.9F + 0.22F * fractalNoise((x - moonX) * 60, (y - moonY) * 60, 3, 383);
        return mix(c, hex(0xF2F4FF) * face, smoothStep(0.0268F, 0.0252F, d));
    });
    const Ground ground{hex(0x587E5C), hex(0x9AA080), hex(0x2E5A48), hex(0x8C8C8C), 0.6F, 0.13F};
    const Field depths = paintHills(canvas, camera, hills, hour, ground);
    plantOaks(canvas, depths, camera, hills, hour,
              {9000, 0.3F, hex(0x2A4468), hex(0x050A18), {0.7F, -0.7F}, -1});
    // Fog lies in the hollows, and a farm is awake.
    canvas.repaint([&](Rgb c, float x, float y) {
        const float fog = 0.42F * bell(y - 0.56F - 0.02F * sine(2.3F * x + 1), 0.035F) *
                          saturate(0.5F + 0.8F * fractalNoise(x * 1.6F, y * 9, 3, 384));
        return mix(c, hex(0x4C659C), saturate(fog));
    });
    addBloom(canvas, 0.5F, 0.03F, 0.4F);
}

}  // namespace varnelle::painter
