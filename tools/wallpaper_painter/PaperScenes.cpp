#include <array>

#include "wallpaper_painter/Noise.h"
#include "wallpaper_painter/SceneFunctions.h"

/// Sheets of cut paper, one upon another, with the shadows that they throw.
namespace varnelle::painter {
namespace {

/// A little unevenness of thick paper.
float paperTooth(float x, float y) {
    return 1 + 0.018F * noise(x * 310, y * 310, 91) + 0.012F * noise(x * 97, y * 97, 92);
}

}  // namespace

void paintLevels(Canvas& canvas) {
    constexpr int kLevels = 11;
    const Ramp sheets{{0.0F, 0x06283D},  {0.22F, 0x0E5365}, {0.42F, 0x23918E}, {0.58F, 0x7CC6A4},
                      {0.72F, 0xF0DFA8}, {0.86F, 0xF3A76B}, {1.0F, 0xD8543F}};
    const auto ground = [](float x, float y) {
        // A wide basin in the middle keeps the loops at the edges.
        const float basin =
            1.05F * smoothStep(0.1F, 1.25F, length({(x - 0.93F) * 0.92F, (y - 0.52F) * 1.15F}));
        return 0.04F + basin + 0.40F * noise(x * 1.55F, y * 1.55F, 41) +
               0.13F * noise(x * 3.3F + 2, y * 3.3F, 42);
    };
    const float pixel = canvas.pixel();
    canvas.paint([&](float x, float y) {
        constexpr float kStep = 0.002F;
        const float h = ground(x, y);
        const Vec2 slope{(ground(x + kStep, y) - h) / kStep, (ground(x, y + kStep) - h) / kStep};
        const float steepness = std::max(length(slope), 0.05F);
        const float position = h * (kLevels - 1);
        Rgb c;
        // The sheets that can touch this pixel: the one it lies on, and the next one's edge.
        const auto sheet = [&](int level) {
            const float t = static_cast<float>(level) / (kLevels - 1);
            const float lower = t;
            const float inside = (h - lower) / steepness;
            Rgb color = sheets(t + 0.02F * sine(3 * x + 5 * y));
            // Light from the top left grazes each sheet; its own edge catches it.
            color *= 0.86F + 0.22F * smoothStep(0.25F, 0.0F, inside);
            const float towardsLight =
                saturate(0.5F + 0.5F * (slope.x * 0.64F + slope.y * 0.77F) / steepness);
            if (level > 0)
                color +=
                    mix(color, Rgb{1, 1, 1}, 0.4F) * (0.36F * towardsLight * bell(inside - 0.0009F, 0.0011F));
            // The next sheet's shadow falls down and to the right.
            float shadow = 0;
            for (const float reach : {0.008F, 0.022F, 0.048F}) {
                const float upper = ground(x - 0.64F * reach, y - 0.77F * reach);
                const float next = static_cast<float>(level + 1) / (kLevels - 1);
                shadow += smoothStep(-0.8F * reach, 0.8F * reach, (upper - next) / steepness) * 0.26F;
            }
            const float contact = exponential(
                -std::max((static_cast<float>(level + 1) / (kLevels - 1) - h) / steepness, 0.0F) / 0.007F);
            return color * (1 - saturate(shadow + 0.22F * contact));
        };
        const int level = std::clamp(floorToInt(position), 0, kLevels - 1);
        const float edge = (position - static_cast<float>(level)) / (kLevels - 1) / steepness;
        c = sheet(level);
        if (level > 0 && edge < pixel) c = mix(sheet(level - 1), c, saturate(0.5F + edge / pixel));
        return c * paperTooth(x, y);
    });
}

void paintWallpaper4(Canvas& canvas) {
    constexpr int kSheets = 9;
    const Ramp colors{{0.0F, 0xFFE3C2}, {0.16F, 0xFFB88A}, {0.34F, 0xF9786E}, {0.52F, 0xC9457F},
                      {0.7F, 0x6F2C8A}, {0.86F, 0x331C6B}, {1.0F, 0x140F3A}};
    const float pixel = canvas.pixel();
    const float aspect = canvas.aspect();
    // The crest of each wave; its slope comes from neighbouring points.
    const auto crest = [&](int i, float x) {
        const float k = static_cast<float>(i);
        const float base = 0.17F + 0.093F * k;
        const float swell = 0.062F * sine(x * (1.9F + 0.23F * k) + 1.9F * k) +
                            0.03F * sine(x * (4.1F + 0.31F * k) + 0.7F * k * k);
        // Higher at the sides, alternately.
        const float side = (i % 2 == 0 ? x / aspect : 1 - x / aspect) - 0.5F;
        return base + swell + 0.10F * side -
               0.11F * bell(x - (i % 2 == 0 ? 0.15F : aspect - 0.2F) + 0.05F * k, 0.24F);
    };
    // Crests by column to be read between columns.
    Field crests(canvas.width() + canvas.height() / 32, kSheets);
    parallelRows(kSheets, [&](int i) {
        for (int k = 0; k < crests.width(); ++k) crests.row(i)[k] = crest(i, static_cast<float>(k) * pixel);
    });
    const auto crestAt = [&](int i, float x) {
        const float position = std::min(x / pixel, static_cast<float>(crests.width() - 2));
        const float* line = crests.row(i) + static_cast<int>(position);
        return mix(line[0], line[1], fraction(position));
    };
    canvas.paint([&](float x, float y) {
        const float glow = exponential(-2.3F * length({(x - 0.62F * aspect) * 0.8F, y - 0.20F}));
        Rgb c = mix(hex(0xFFD9B0), hex(0xFFF6E4), glow * 1.4F);
        const float disc = length({x - 0.66F * aspect, y - 0.2F}) - 0.115F;
        c = mix(c, hex(0xFFFBF2), saturate(0.5F - disc / pixel));
        c = c *
            (1 - 0.18F * exponential(-std::max(disc, 0.0F) / 0.02F) * static_cast<float>(disc > 0) * 0.4F);
        for (int i = 0; i < kSheets; ++i) {
            const float t = static_cast<float>(i) / (kSheets - 1);
            const float line = crestAt(i, x);
            const float slope = (crestAt(i, x + 0.002F) - line) / 0.002F;
            const float lean = 1 / std::sqrt(1 + slope * slope);
            const float inside = (y - line) * lean;
            // Shadow on what lies behind, thrown up and to the left by a low light from the front.
            const float thrown = (y + 0.016F - crestAt(i, x + 0.012F)) * lean;
            c *= 1 - 0.50F * square(smoothStep(-0.075F, 0.015F, thrown)) -
                 0.1F * smoothStep(-0.012F, 0.0F, inside);
            if (inside < -pixel) continue;
            Rgb sheet = colors(t + 0.10F * smoothStep(0.0F, 0.3F, inside) - 0.03F);
            sheet *= 0.84F + 0.30F * exponential(-std::max(inside, 0.0F) / 0.06F) + 0.10F * slope;
            sheet += mix(sheet, hex(0xFFE9D0), 0.6F) * (0.5F * bell(inside - 0.0012F, 0.0012F));
            c = mix(c, sheet, saturate(0.5F + inside / pixel));
        }
        return c * paperTooth(x, y);
    });
}

}  // namespace varnelle::painter
