#include <vector>

#include "wallpaper_painter/Foliage.h"
#include "wallpaper_painter/Noise.h"
#include "wallpaper_painter/SceneFunctions.h"
#include "wallpaper_painter/Sky.h"
#include "wallpaper_painter/Terrain.h"

/// Lakes between high mountains, by day, by starlight and under northern lights. World units are about a
/// kilometre in the distance; the boulders of the shore are painted larger than life.
namespace varnelle::painter {
namespace {

/// Mountains beyond a lake: sharp ridges worn by derivative-damped noise (after Inigo Quilez, "Value noise
/// derivatives").
struct Range {
    float shore;  ///< where the lake ends
    float height;
    std::uint32_t seed;

    float operator()(float x, float z) const {
        const float land = z - shore - 1.2F * noise(x * 0.16F, 0.5F, seed) + 0.02F * square(x);
        if (land < -1) return -0.2F;
        float px = x * 0.105F;
        float pz = z * 0.105F;
        float sum = 0;
        float amplitude = 1;
        Vec2 wear;
        for (std::uint32_t i = 0; i < 9; ++i) {
            const NoiseSlope n = noiseSlope(px, pz, seed + 1 + i);
            wear = wear + Vec2{n.dx, n.dy} * 0.62F;
            sum += amplitude * (i < 2 ? 0.75F - 1.25F * std::abs(n.value) : n.value) / (1 + dot(wear, wear));
            amplitude *= 0.5F;
            const float turned = 1.6F * px - 1.2F * pz;
            pz = 1.2F * px + 1.6F * pz + 2.3F;
            px = turned;
        }
        const float massif = smoothStep(-0.5F, 15, land);
        return 0.10F * smoothStep(-0.6F, 0.5F, land) - 0.05F +
               std::max(height * massif * (0.42F + 0.85F * sum), 0.12F * massif);
    }
};

/// Round boulders, half drowned along the near shore.
float boulders(float x, float z, std::uint32_t seed) {
    float top = -0.45F + 0.10F * noise(x * 0.8F, z * 0.8F, seed);
    for (int layer = 0; layer < 3; ++layer) {
        const float cell = 1.25F / (1 + 1.3F * static_cast<float>(layer));
        const int ix = floorToInt(x / cell);
        const int iz = floorToInt(z / cell);
        for (int j = -1; j <= 1; ++j) {
            for (int i = -1; i <= 1; ++i) {
                const auto s = seed + 10 + 5 * static_cast<std::uint32_t>(layer);
                const float cx =
                    (static_cast<float>(ix + i) + 0.5F + 0.6F * (random(ix + i, iz + j, s) - 0.5F)) * cell;
                const float cz =
                    (static_cast<float>(iz + j) + 0.5F + 0.6F * (random(ix + i, iz + j, s + 1) - 0.5F)) *
                    cell;
                const float radius = cell * (0.22F + 0.36F * random(ix + i, iz + j, s + 2));
                // Large ones stand near the edges of the view.
                const float place =
                    smoothStep(0.25F, 0.9F, std::abs(cx) / (0.8F * cz + 0.3F)) * smoothStep(6.5F, 2.0F, cz);
                const float rise = (place - 0.80F) * 0.75F;
                const float d2 = (square(x - cx) + square((z - cz) * 1.15F)) / square(radius);
                if (d2 >= 1) continue;
                top = std::max(
                    top,
                    -0.45F + std::max(0.05F + rise * radius * 1.8F + radius * 0.85F + 0.38F * place, 0.0F) *
                                 std::sqrt(1 - d2));
            }
        }
    }
    return top;
}

struct LakeLight {
    Vec3 sun;
    Rgb sunlight;
    Rgb skylight;
    Rgb haze;
    float hazeDepth;
    Rgb rock;
    Rgb snow;
    Rgb forest;
    Rgb shallow;
    Rgb deep;
    float ripple;
};

void paintRange(Canvas& canvas, const Camera& camera, const Range& range, const LakeLight& light,
                float snowLine) {
    const HeightGrid heights(-62, 62, range.shore - 4, range.shore + 62, 1500, 900, range);
    Field depths(canvas.width(), canvas.height());
    paintTerrain(
        canvas, depths, camera, {range.shore - 3, range.shore + 60}, heights,
        [&](Vec3 p, float depth, float size) {
            const float step = std::max(0.055F, 0.8F * size);
            const Vec3 n = groundNormal(heights, p, step);
            const float detail = fractalNoise(p.x * 2.6F, p.z * 2.6F + p.y * 2, 5, range.seed + 30, 0.6F);
            const float steep = 1 - n.y;
            Rgb c = light.rock * (1 + 0.42F * detail);
            const float forest = smoothStep(0.42F, 0.20F, p.y / range.height - 0.12F * detail) *
                                 smoothStep(0.75F, 0.45F, steep);
            const float trees = noise(p.x * 24, (p.y * 1.7F + p.z) * 13, range.seed + 36) +
                                0.6F * noise(p.x * 55, (p.y * 1.5F + p.z) * 30, range.seed + 37);
            c = mix(c, light.forest * (1 + 0.55F * trees), forest);
            const float snow = smoothStep(snowLine - 0.10F, snowLine + 0.08F,
                                          p.y / range.height + 0.12F * detail - 0.16F * steep) *
                               smoothStep(0.74F, 0.42F, steep - 0.10F * detail);
            c = mix(c, light.snow, snow);
            const float facing = saturate(dot(n, light.sun) * 1.35F + 0.06F + 0.07F * detail);
            const float shadow = sunlight(heights, p, light.sun, 9, 8, 0.06F);
            c = c * (light.sunlight * (facing * shadow) + light.skylight * (0.5F + 0.5F * n.y));
            const float veil = 1 - exponential(-std::max(depth - range.shore + 1, 0.0F) / light.hazeDepth) *
                                       (1 - 0.26F * exponential(-p.y / 0.6F));
            return mix(c, light.haze, saturate(veil));
        });
}

/// A line of firs on the far shore.
void paintShoreTrees(Canvas& canvas, float waterline, float height, int count, Rgb color,
                     std::uint32_t seed) {
    Field coverage(canvas.width(), canvas.height());
    std::vector<Conifer> conifers;
    Dice dice(seed);
    for (int i = 0; i < count; ++i) {
        const float x = dice(-0.02F, canvas.aspect() + 0.02F);
        const float grove = 0.35F + 0.9F * smoothStep(-0.3F, 0.6F, noise(x * 3.2F, 0.3F, seed));
        const float h = height * dice(0.5F, 1.15F) * grove;
        conifers.push_back(
            {{x, waterline + 0.001F}, h, h * dice(0.28F, 0.36F), seed + static_cast<std::uint32_t>(i)});
    }
    coverWithConifers(coverage, conifers);
    canvas.repaint([&](Rgb c, float x, float y) {
        const float alpha = coverage.sample(x, y);
        return alpha <= 0 ? c : mix(c, color * (1 + 0.3F * noise(x * 60, y * 60, seed + 1)), alpha);
    });
}

/// The lake in front of what is painted already, which it mirrors, and the boulders of the near shore.
void paintLake(Canvas& canvas, const Camera& camera, const LakeLight& light, std::uint32_t seed,
               bool withBoulders) {
    const Canvas above = canvas;
    const Canvas softened = blurred(canvas, 0.006F);
    const float aspect = canvas.aspect();
    const auto bed = [&](float x, float z) {
        return withBoulders && z < 8.5F ? boulders(x, z, seed) : -1.0F;
    };
    const auto surface = [&](float x, float z) { return std::max(bed(x, z), 0.0F); };
    Field depths(canvas.width(), canvas.height());
    const auto stone = [&](Vec3 p) {
        const float grain = fractalNoise(p.x * 7, p.z * 7 + p.y * 5, 5, seed + 60, 0.6F);
        const float tone = random(floorToInt(p.x * 1.3F), floorToInt(p.z * 1.3F), seed + 61);
        return light.rock *
               (1.0F + 0.42F * grain + 0.12F * tone + 0.16F * noise(p.x * 70, (p.z + p.y) * 70, seed + 68) -
                0.45F * smoothStep(0.86F, 0.98F, ridgedNoise(p.x * 1.6F, p.z * 1.6F + p.y, 4, seed + 69)));
    };
    paintTerrain(canvas, depths, camera, {0.55F, 400}, surface, [&](Vec3 p, float depth, float size) {
        const float floor = bed(p.x, p.z);
        const float x = aspect / 2 + camera.focal * p.x / depth;
        const float y = camera.horizon - camera.focal * (p.y - camera.eye.y) / depth;
        if (floor > 0) {
            const Vec3 n = groundNormal(bed, p, std::max(0.012F, size));
            const float facing = saturate(dot(n, light.sun) * 1.2F + 0.05F);
            const float shadow = sunlight(bed, p, light.sun, 1.6F, 6, 0.12F);
            const float wet = smoothStep(0.05F, 0.015F, floor + 0.02F * noise(p.x * 5, p.z * 5, seed + 62));
            const float open = 0.35F + 0.65F * smoothStep(0.0F, 0.30F, floor);
            Rgb c = stone(p) * (1 - 0.5F * wet);
            return c * (light.sunlight * (facing * shadow) + light.skylight * ((0.45F + 0.55F * n.y) * open));
        }
        const auto waves = [&](float px, float pz) {
            return noise(px * 1.5F, pz * 2.6F, seed + 63) +
                   0.5F * noise(px * 4, pz * 7, seed + 64) * smoothStep(0.08F, 0.02F, size) +
                   0.25F * noise(px * 11, pz * 19, seed + 65) * smoothStep(0.03F, 0.008F, size);
        };
        const float breeze =
            0.35F + 0.65F * smoothStep(-0.2F, 0.5F, noise(p.x * 0.25F, p.z * 0.6F, seed + 66));
        const float w = waves(p.x, p.z) * light.ripple * breeze * smoothStep(0.3F, 0.03F, size);
        const float drop = y - camera.horizon;
        const float my = camera.horizon - drop - 0.030F * w;
        const float mx = x + 0.006F * w;
        const float blur = saturate(light.ripple * 0.4F + size * 6);
        const Rgb mirror =
            mix(above.sample(mx, std::max(my, 0.0F)), softened.sample(mx, std::max(my, 0.0F)), blur);
        const float cosine = camera.eye.y / std::sqrt(square(camera.eye.y) + square(depth));
        const float fresnel = saturate(0.05F + 0.95F * power(1 - cosine, 4.2F) + 0.10F * w);
        // Below the surface, light is lost with depth, red first.
        const float column = -floor * (1.2F + 1 / std::max(cosine, 0.2F)) * 0.6F;
        const Rgb through{exponential(-3.2F * column), exponential(-0.95F * column),
                          exponential(-0.6F * column)};
        const float caustic = withBoulders
                                  ? power(ridgedNoise(p.x * 2.6F + 0.3F * w, p.z * 3.4F, 3, seed + 67), 4) *
                                        smoothStep(0.03F, 0.006F, size)
                                  : 0;
        const Rgb bottom =
            stone({p.x, floor, p.z}) * (light.sunlight * (0.45F + 0.6F * caustic) + light.skylight * 0.5F);
        const Rgb water = mix(light.deep, light.shallow, exponential(-0.9F * column)) *
                          (light.sunlight * 0.5F + light.skylight * 0.6F);
        const Rgb body = bottom * through * 0.9F + water * (Rgb{1, 1, 1} - through);
        const float contact = withBoulders ? 1 - 0.35F * smoothStep(-0.06F, 0.0F, floor) : 1;
        return mix(body, mirror * 0.94F, fresnel) * contact;
    });
}

}  // namespace

void paintTahoeLight(Canvas& canvas) {
    const Ramp sky{{0.0F, 0x2A6FC4}, {0.5F, 0x6FB0E8}, {1.0F, 0xD8ECF4}};
    const Camera camera{{0, 1.15F, 0}, 0.47F, 1.0F};
    const LakeLight light{normalized({-0.62F, 0.5F, -0.15F}),
                          hex(0xFFF0D4) * 1.2F,
                          hex(0x8FB8EC) * 0.42F,
                          hex(0xA3C4E4),
                          95,
                          hex(0xA79C90) * 0.9F,
                          hex(0xFFFFFF) * 0.95F,
                          hex(0x2E4A34) * 0.8F,
                          hex(0x2FB7B0),
                          hex(0x0B4F86),
                          0.5F};
    canvas.paint([&](float x, float y) {
        return sky(y / camera.horizon) + hex(0xFFF3D8) * (0.25F * exponential(-2.2F * length({x - 0.1F, y})));
    });
    paintClouds(canvas, camera,
                {.base = 5.5F,
                 .top = 7.5F,
                 .featureSize = 5.5F,
                 .cover = 0.37F,
                 .density = 0.7F,
                 .sun = light.sun,
                 .sunlight = hex(0xFFFFFF) * 1.1F,
                 .skylight = hex(0xA9C6E6) * 0.8F,
                 .haze = hex(0xDCEBF4),
                 .hazeDepth = 60,
                 .offset = {6, 3},
                 .seed = 1001});
    const Range range{24, 11, 1010};
    paintRange(canvas, camera, range, light, 0.44F);
    paintShoreTrees(canvas, camera.horizon + camera.focal * camera.eye.y / 24, 0.042F, 420, hex(0x1B3A30),
                    1040);
    paintLake(canvas, camera, light, 1050, true);
}

void paintTahoeDark(Canvas& canvas) {
    const Ramp sky{{0.0F, 0x030714}, {0.45F, 0x0A1738}, {0.8F, 0x1C3566}, {1.0F, 0x4A5F8E}};
    const Camera camera{{0, 1.3F, 0}, 0.58F, 1.1F};
    const LakeLight light{normalized({0.72F, 0.42F, -0.1F}),
                          hex(0xB4C8F8) * 0.55F,
                          hex(0x3F5A9E) * 0.36F,
                          hex(0x2A4274) * 0.8F,
                          80,
                          hex(0x8A8C98),
                          hex(0xF4F8FF),
                          hex(0x1E2C38),
                          hex(0x1A4A66),
                          hex(0x050E22),
                          0.22F};
    const float aspect = canvas.aspect();
    canvas.paint([&](float x, float y) {
        // The Milky Way rises from the right, torn by lanes of dust.
        const float along = 0.62F * (x - 0.44F * aspect) + 0.78F * (0.58F - y);
        const float across = 0.78F * (x - 0.44F * aspect) - 0.62F * (0.58F - y);
        const float cloud = fractalNoise(along * 2.2F + 1, across * 3.2F, 6, 1061, 0.56F);
        const float band = bell(across + 0.06F * cloud, 0.16F) * (0.55F + 0.8F * cloud);
        const float dust =
            smoothStep(0.05F, 0.5F, fractalNoise(along * 3.1F, across * 6.5F + 4, 6, 1071, 0.56F)) *
            bell(across, 0.07F);
        const float fade = smoothStep(0.60F, 0.25F, y);
        Rgb c = sky(y / camera.horizon);
        c += (hex(0x8FA0E8) * 0.42F + hex(0xE0A8C8) * (0.14F * bell(across, 0.06F))) *
             (std::max(band, 0.0F) * fade);
        c *= 1 - 0.6F * dust * fade;
        return c + hex(0xE8A070) *
                       (0.16F * exponential(-(camera.horizon - y) / 0.10F) * bell(x - 0.35F * aspect, 0.5F));
    });
    addStars(canvas, 5200, 0.8F, 0.12F, 0.58F, 1062);
    const Range range{26, 9.5F, 1085};
    paintRange(canvas, camera, range, light, 0.40F);
    const float waterline = camera.horizon + camera.focal * camera.eye.y / 26;
    paintShoreTrees(canvas, waterline, 0.040F, 420, hex(0x081221), 1090);
    // Someone sits by a fire across the lake.
    const Vec2 fire{0.235F * aspect, waterline - 0.004F};
    canvas.repaint([&](Rgb c, float x, float y) {
        const float d = length({x - fire.x, (y - fire.y) * 1.2F});
        return c +
               hex(0xFF9A4A) * (1.8F * exponential(-square(d / 0.0035F)) + 0.30F * exponential(-d / 0.016F));
    });
    paintLake(canvas, camera, light, 1095, false);
    // Firs of the near shore frame the view.
    Field coverage(canvas.width(), canvas.height());
    std::vector<Conifer> conifers;
    Dice dice(1096);
    for (int i = 0; i < 13; ++i) {
        const bool isLeft = i % 3 != 0;
        const float x = isLeft ? square(dice()) * 0.40F - 0.04F : aspect + 0.04F - square(dice()) * 0.30F;
        const float edge = isLeft ? x / 0.40F : (aspect - x) / 0.30F;
        const float height = (0.92F - 0.55F * edge) * dice(0.75F, 1.05F);
        conifers.push_back(
            {{x, 1.02F}, height, height * dice(0.26F, 0.34F), static_cast<std::uint32_t>(1100 + i)});
    }
    coverWithConifers(coverage, conifers);
    const float pixel = canvas.pixel();
    canvas.repaint([&](Rgb c, float x, float y) {
        const float bank = 0.985F - 0.045F * square(2 * x / aspect - 1) + 0.006F * noise(x * 30, 1, 1097);
        const float alpha = std::max(coverage.sample(x, y), saturate(0.5F + (y - bank) / (3 * pixel)));
        return mix(c, hex(0x03070F) * (1 + 0.5F * noise(x * 80, y * 80, 1098)), alpha);
    });
    addBloom(canvas, 0.5F, 0.02F, 0.3F);
}

void paintWallpaper13(Canvas& canvas) {
    const Ramp sky{{0.0F, 0x030512}, {0.5F, 0x081A33}, {1.0F, 0x16405A}};
    const Ramp curtain{
        {0.0F, 0x7CFFB2}, {0.22F, 0x35E8A0}, {0.45F, 0x1FB8B0}, {0.7F, 0x5A5AE0}, {1.0F, 0xB03AC0}};
    const Camera camera{{0, 0.9F, 0}, 0.66F, 1.0F};
    const float aspect = canvas.aspect();
    canvas.paint([&](float, float y) { return sky(y / camera.horizon); });
    addStars(canvas, 2400, 0.8F, 0.15F, 0.66F, 1201);
    // Curtains hang along bent lines high above; each line of sight gathers them level by level.
    Canvas lights = reduced<Rgb>(canvas, std::max(canvas.height() / 720, 1));
    parallelRows(lights.height(), [&](int row) {
        const float y = lights.centerY(row);
        for (int column = 0; column < lights.width(); ++column) {
            const float x = lights.centerX(column);
            const float slope = (camera.horizon - y) / camera.focal;
            Rgb sum;
            if (slope > 0.02F) {
                constexpr int kSheets = 46;
                for (int i = 0; i < kSheets; ++i) {
                    const float t = (static_cast<float>(i) + random(column, row, 1202)) / kSheets;
                    const float height = 1.0F + 1.15F * t;
                    const float z = height / slope;
                    const float wx = (x - aspect / 2) / camera.focal * z;
                    if (z > 26) continue;
                    const float bend =
                        noise(wx * 0.32F, z * 0.30F, 1203) * 1.5F + 0.35F * noise(wx * 0.9F, z * 0.8F, 1204);
                    const float line = noise(wx * 0.20F + 0.45F * bend, z * 0.46F + bend, 1205);
                    const float fold = exponential(-square(line / 0.045F));
                    if (fold < 0.01F) continue;
                    const float rays = 0.45F + 0.55F * noise(wx * 3.4F + 2 * bend, z * 3.4F, 1206);
                    const float base = smoothStep(0, 0.06F, t) * exponential(-3.1F * t);
                    sum += curtain(t * 1.15F) * (fold * std::max(rays, 0.05F) * base * smoothStep(26, 10, z));
                }
                sum *= 0.15F * smoothStep(0.02F, 0.10F, slope);
            }
            lights.row(row)[column] = sum;
        }
    });
    const Canvas smooth = blurred(lights, 0.0022F);
    const Canvas glow = blurred(lights, 0.07F);
    canvas.repaint(
        [&](Rgb c, float x, float y) { return c + smooth.sample(x, y) * 1.15F + glow.sample(x, y) * 0.5F; });
    const LakeLight light{normalized({-0.2F, 0.75F, 0.1F}),
                          hex(0x7CF0C0) * 0.16F,
                          hex(0x4F7FB0) * 0.22F,
                          hex(0x123A50),
                          70,
                          hex(0x7C848C),
                          hex(0xEAF6FF),
                          hex(0x16262C),
                          hex(0x14504E),
                          hex(0x041018),
                          0.35F};
    const Range range{22, 8.0F, 1230};
    paintRange(canvas, camera, range, light, 0.22F);
    paintShoreTrees(canvas, camera.horizon + camera.focal * camera.eye.y / 22, 0.03F, 300, hex(0x061219),
                    1250);
    paintLake(canvas, camera, light, 1260, false);
    addBloom(canvas, 0.5F, 0.04F, 0.3F);
}

}  // namespace varnelle::painter
