#include <array>
#include <vector>

#include "wallpaper_painter/Foliage.h"
#include "wallpaper_painter/Noise.h"
#include "wallpaper_painter/SceneFunctions.h"

/// Great trees: a grove seen from its floor, trunks in the evening, ridges full of firs.
namespace varnelle::painter {
namespace {

/// A stand of great trunks in mist, with a light behind it.
struct Grove {
    Vec2 sun;
    Ramp glow;    ///< of the air, from the light outwards
    float reach;  ///< how far the glow goes, as a factor on distances
    Rgb farWood;
    Rgb nearWood;
    Rgb rim;    ///< on the side of a trunk that faces the light
    Rgb cool;   ///< on the other side
    Rgb ember;  ///< what the whole stand takes on near the light
    Rgb beam;
    float convergence;  ///< 0 for upright trunks, more to look up along them
    float opening;      ///< half the width that the near trees leave free in the middle
    float floorFar;     ///< where the ground of the farthest and of the nearest trees begins
    float floorNear;
    std::uint32_t seed;
};

void paintGrove(Canvas& canvas, const Grove& grove) {
    const float aspect = canvas.aspect();
    const float pixel = canvas.pixel();
    const auto nearness = [&](float x, float y) {
        return length({(x - grove.sun.x) * 0.85F, (y - grove.sun.y) * 0.9F}) * grove.reach;
    };
    canvas.paint([&](float x, float y) {
        return grove.glow(nearness(x, y) * 0.92F + 0.04F * fractalNoise(x * 1.5F, y * 1.5F, 3, grove.seed));
    });
    constexpr int kLayers = 6;
    for (int layer = 0; layer < kLayers; ++layer) {
        const float t = static_cast<float>(layer) / (kLayers - 1);
        struct Trunk {
            float x, half, lean;
            std::uint32_t seed;
        };
        std::vector<Trunk> trunks;
        Dice dice(grove.seed + 9 + static_cast<std::uint32_t>(layer));
        const float spacing = mix(0.075F, 0.42F, t * t);
        for (float at = -0.3F; at < aspect + 0.3F; at += spacing * dice(0.55F, 1.5F)) {
            if (layer >= kLayers - 2 && std::abs(at - 0.52F * aspect) < grove.opening) continue;
            trunks.push_back({at, mix(0.009F, 0.085F, t * t) * dice(0.7F, 1.25F), dice(-0.025F, 0.025F),
                              grove.seed + 60 + static_cast<std::uint32_t>(layer) * 100 +
                                  static_cast<std::uint32_t>(trunks.size()) * 3});
        }
        const float groundLine = mix(grove.floorFar, grove.floorNear, t * t);
        const Rgb shade = mix(grove.farWood, grove.nearWood, power(t, 0.65F));
        canvas.repaint([&](Rgb c, float x, float y) {
            // Far above the ground its shape makes no difference.
            float floorY = groundLine;
            if (y > groundLine - 0.35F) {
                floorY += 0.028F * noise(x * (5 - 3 * t), static_cast<float>(layer) * 3.1F, grove.seed + 1) +
                          0.008F * noise(x * 31, static_cast<float>(layer), grove.seed + 2) +
                          0.006F * std::abs(noise(x * 90, static_cast<float>(layer), grove.seed + 3));
            }
            const float near = nearness(x, y);
            const float warmth = exponential(-near / 0.42F);
            const auto cover = [&](Rgb wood, float inside) {
                c = mix(c, mix(wood, grove.glow(near), (1 - t) * 0.52F * (0.35F + warmth)),
                        saturate(0.5F + inside / pixel));
            };
            // Upright lines run together far above the frame.
            const float narrowing = 1 + grove.convergence * (y - 1);
            const float across = aspect / 2 + (x - aspect / 2) / narrowing;
            for (const Trunk& trunk : trunks) {
                if (std::abs(across - trunk.x) > 2.2F * trunk.half + 0.03F) continue;
                const float flare =
                    1 + 0.9F * square(smoothStep(floorY - 0.16F - 0.1F * t, floorY + 0.02F, y));
                const float half = trunk.half * (0.82F + 0.24F * y) * flare;
                const float u =
                    (across - trunk.x - trunk.lean * (y - 0.5F) - 0.004F * noise(y * 3, 1, trunk.seed)) /
                    half;
                const float inside = (1 - std::abs(u)) * half * narrowing;
                if (inside < -pixel || y > floorY + 0.02F) continue;
                const float bark = fractalNoise(u * 4.2F + 1.3F * noise(y * 4, u, trunk.seed + 1),
                                                y * 3.2F / (0.3F + trunk.half * 8), 4, trunk.seed, 0.6F);
                const float furrow = ridgedNoise(u * 3.3F, y * 1.3F, 3, trunk.seed + 2);
                const float side = x - u * half * narrowing < grove.sun.x ? u : -u;
                const float rim = power(saturate(0.5F + 0.5F * side), 5) * warmth * (0.6F + 0.6F * bark);
                Rgb wood = shade * (0.8F + 0.5F * bark + 0.45F * (furrow - 0.4F));
                wood += grove.cool *
                        (0.20F * (0.3F + t) * square(saturate(0.5F - 0.5F * side)) * (0.7F + 0.6F * bark));
                wood += grove.rim * (1.9F * rim) + grove.ember * (0.10F * warmth);
                cover(wood, inside);
            }
            if (y > floorY - pixel) {
                const float turf = fractalNoise(x * 30, y * 60, 3, grove.seed + 4);
                cover(shade * (0.9F + 0.4F * turf) +
                          grove.rim *
                              (0.30F * warmth * square(saturate(1 - (y - floorY) / 0.05F)) * (1 + turf)),
                      y - floorY);
            }
            // Mist between this row of trees and the next.
            if (std::abs(y - groundLine) > 0.45F) return c;
            const float mist = (1 - t) * 0.42F * bell(y - groundLine, 0.11F) *
                               (0.7F + 0.5F * fractalNoise(x * 2.2F, y * 5 + 9 * t, 3, grove.seed + 5));
            return mix(c, grove.glow(near * 0.9F), saturate(mist));
        });
    }
    // Beams through the stand, from the light outwards.
    canvas.repaint([&](Rgb c, float x, float y) {
        const Vec2 d{x - grove.sun.x, y - grove.sun.y};
        const float r = length(d);
        const Vec2 direction = d * (1 / std::max(r, 1e-4F));
        const float beam = saturate(0.4F + fractalNoise(direction.x * 5, direction.y * 5, 3, grove.seed + 6));
        return c + grove.beam * (0.42F * beam * exponential(-r * grove.reach / 0.36F)) +
               grove.cool * (0.05F * smoothStep(0.4F, 1.2F, r));
    });
    addBloom(canvas, 0.7F, 0.05F, 0.35F);
}

}  // namespace

void paintSequoiaBlue(Canvas& canvas) {
    paintGrove(canvas, {.sun = {0.46F * canvas.aspect(), 0.20F},
                        .glow = {{0.0F, 0xF2FBFF},
                                 {0.12F, 0xC9ECFF},
                                 {0.28F, 0x86C8FA},
                                 {0.46F, 0x4A94EA},
                                 {0.66F, 0x2862C4},
                                 {0.85F, 0x173F92},
                                 {1.05F, 0x0D2664}},
                        .reach = 0.80F,
                        .farWood = hex(0x4A7CC8),
                        .nearWood = hex(0x030A26),
                        .rim = hex(0x8AD0FF),
                        .cool = hex(0x2A5CE0),
                        .ember = hex(0x5FA8FF),
                        .beam = hex(0xA8DCFF),
                        .convergence = 0.42F,
                        .opening = 0.56F,
                        .floorFar = 0.80F,
                        .floorNear = 0.985F,
                        .seed = 4210});
}

void paintSequoiaBlueOrange(Canvas& canvas) {
    paintGrove(canvas, {.sun = {0.60F * canvas.aspect(), 0.60F},
                        .glow = {{0.0F, 0xFFF6DC},
                                 {0.12F, 0xFFDFA0},
                                 {0.28F, 0xFFA85C},
                                 {0.46F, 0xE0705A},
                                 {0.62F, 0x8A5A86},
                                 {0.8F, 0x3F5A9A},
                                 {1.0F, 0x1C3A7A}},
                        .reach = 1,
                        .farWood = hex(0x6E5F8E),
                        .nearWood = hex(0x050D26),
                        .rim = hex(0xFF8A3C),
                        .cool = hex(0x2E5CB4),
                        .ember = hex(0xFF6A30),
                        .beam = hex(0xFFB066),
                        .convergence = 0,
                        .opening = 0.50F,
                        .floorFar = 0.70F,
                        .floorNear = 0.97F,
                        .seed = 631});
}

void paintMountaintrees(Canvas& canvas) {
    const float aspect = canvas.aspect();
    const float pixel = canvas.pixel();
    const Ramp sky{{0.0F, 0x5C86B8}, {0.3F, 0x9DB9D6}, {0.5F, 0xF2CDBB}, {0.64F, 0xFFE3C0}, {1.0F, 0xFFEFD8}};
    const float sunX = 0.36F * aspect;
    canvas.paint([&](float x, float y) {
        const float d = length({x - sunX, y - 0.40F});
        return sky(y + 0.04F * fractalNoise(x * 1.2F, y * 5, 4, 801)) +
               hex(0xFFD9A0) * (0.5F * exponential(-4 * d)) +
               hex(0xFFF4DC) * exponential(-square(d / 0.032F));
    });
    struct Ridge {
        float base, relief, frequency, treeHeight;
        int trees;
        std::uint32_t code, mist;
    };
    const std::vector<Ridge> ridges{{0.43F, 0.16F, 1.3F, 0, 0, 0xA9B4CE, 0xF6DCC8},
                                    {0.50F, 0.11F, 1.9F, 0, 0, 0x8499BC, 0xEBD3C8},
                                    {0.57F, 0.085F, 2.2F, 0.016F, 1000, 0x64809F, 0xD3CCD0},
                                    {0.65F, 0.075F, 1.9F, 0.034F, 800, 0x456883, 0xB4BFCB},
                                    {0.745F, 0.07F, 1.6F, 0.070F, 420, 0x2B4E66, 0x8FA6B6},
                                    {0.86F, 0.06F, 1.3F, 0.145F, 150, 0x173548, 0x5F7F92},
                                    {1.0F, 0.05F, 1.1F, 0.30F, 54, 0x0A1F2C, 0x2F4F60}};
    for (std::size_t i = 0; i < ridges.size(); ++i) {
        const Ridge& ridge = ridges[i];
        const auto seed = static_cast<std::uint32_t>(810 + 20 * i);
        const bool isBare = ridge.trees == 0;
        const auto line = [&](float x) {
            const float shape = isBare ? 1.25F * ridgedNoise(x * ridge.frequency + 0.7F,
                                                             3.3F * static_cast<float>(i), 6, seed, 0.46F) -
                                             0.45F
                                       : 0.8F * fractalNoise(x * ridge.frequency,
                                                             2.7F * static_cast<float>(i), 5, seed, 0.42F);
            // The nearer slopes come in from both sides.
            const float sides = static_cast<float>(i) * 0.026F * square(2 * x / aspect - 1);
            return ridge.base - ridge.relief * shape - sides;
        };
        Field coverage(canvas.width(), canvas.height());
        std::vector<float> lines(static_cast<std::size_t>(canvas.width()));
        for (int x = 0; x < canvas.width(); ++x) lines[static_cast<std::size_t>(x)] = line(canvas.centerX(x));
        parallelRows(canvas.height(), [&](int y) {
            for (int x = 0; x < canvas.width(); ++x) {
                const auto column = static_cast<std::size_t>(x);
                const float next = lines[std::min(column + 1, lines.size() - 1)];
                const float lean = 1 / std::sqrt(1 + square((next - lines[column]) / pixel));
                coverage.row(y)[x] = saturate(0.5F + (canvas.centerY(y) - lines[column]) * lean / pixel);
            }
        });
        std::vector<Conifer> conifers;
        Dice dice(seed + 9);
        for (int k = 0; k < ridge.trees; ++k) {
            const float x = dice(-0.05F, aspect + 0.05F);
            const float gather = 0.5F + 0.5F * noise(x * 5, static_cast<float>(i), seed + 8);
            const float side = square(2 * x / aspect - 1);
            // The tallest stand at the edges.
            const float height = ridge.treeHeight * dice(0.5F, 1.1F) * (0.7F + 0.5F * gather) *
                                 (0.8F + 0.55F * side * (i >= 5 ? 1.6F : 0.4F));
            if (i + 1 == ridges.size() && side < 0.22F && height > 0.2F) continue;
            conifers.push_back({{x, line(x) + 0.05F * ridge.treeHeight + dice(0, 0.25F) * ridge.treeHeight},
                                height,
                                height * dice(0.30F, 0.40F),
                                seed + static_cast<std::uint32_t>(1000 + k)});
        }
        coverWithConifers(coverage, conifers);
        const Rgb body = colorFromCode(ridge.code);
        const Rgb mist = colorFromCode(ridge.mist);
        canvas.repaint([&](Rgb c, float x, float y) {
            const auto column =
                static_cast<std::size_t>(std::min(x / pixel, static_cast<float>(lines.size() - 1)));
            const float alpha =
                coverage.row(std::min(static_cast<int>(y / pixel), canvas.height() - 1))[column];
            if (alpha <= 0) return c;
            const float below = std::max(y - lines[column], 0.0F);
            Rgb color = body;
            if (isBare) {
                // Gullies and shoulders, lit from the sun's side.
                const float a = ridgedNoise(x * 5 + 0.35F * y, y * 3.2F, 5, seed + 3);
                const float b = ridgedNoise((x + 0.004F) * 5 + 0.35F * y, (y + 0.002F) * 3.2F, 5, seed + 3);
                const float relief = saturate(0.5F + (x < sunX ? -9.0F : 9.0F) * (a - b));
                color = mix(color * 0.86F, mix(color, hex(0xFFDCC0), 0.62F),
                            relief * exponential(-below / 0.16F));
            } else {
                const float texture = fractalNoise(x * 26 / (1 + static_cast<float>(i) * 0.3F),
                                                   y * 60 / (1 + static_cast<float>(i) * 0.3F), 3, seed + 4);
                color *= 1 + 0.16F * texture;
                color += hex(0xFFB890) *
                         (0.018F * exponential(-below / 0.02F) * exponential(-std::abs(x - sunX) / 0.5F));
            }
            const float swirl =
                0.75F + 0.5F * fractalNoise(x * 1.9F + static_cast<float>(i), y * 6, 4, seed + 5);
            const float fog = saturate((1 - exponential(-below / (0.085F + 0.01F * static_cast<float>(i)))) *
                                       swirl * (i + 1 == ridges.size() ? 0.35F : 0.95F));
            color =
                mix(color, mix(mist, hex(0xFFE4C4), 0.35F * exponential(-std::abs(x - sunX) / 0.4F)), fog);
            return mix(c, color, alpha);
        });
    }
    canvas.repaint([&](Rgb c, float x, float y) {
        return c + hex(0xFFC890) * (0.14F * exponential(-2.8F * length({x - sunX, y - 0.42F})));
    });
}

}  // namespace varnelle::painter
