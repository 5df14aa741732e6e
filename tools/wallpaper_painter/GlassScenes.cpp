#include <vector>

#include "wallpaper_painter/Noise.h"
#include "wallpaper_painter/SceneFunctions.h"

/// Light seen through panes of glass: frosted sheets, and fluted ones.
namespace varnelle::painter {
namespace {

struct Pane {
    Vec2 center;
    Vec2 half;  ///< half its width and height
    float corner;
    float angle;
};

struct PanePoint {
    float inside;  ///< distance to the edge, positive within
    Vec2 outward;  ///< direction of the nearest edge, in the frame
};

PanePoint locate(const Pane& pane, float x, float y) {
    const float c = cosine(pane.angle);
    const float s = sine(pane.angle);
    const Vec2 d{x - pane.center.x, y - pane.center.y};
    const Vec2 local{c * d.x + s * d.y, c * d.y - s * d.x};
    const Vec2 q{std::abs(local.x) - pane.half.x + pane.corner,
                 std::abs(local.y) - pane.half.y + pane.corner};
    const Vec2 out{std::max(q.x, 0.0F), std::max(q.y, 0.0F)};
    const float reach = length(out);
    const float distance = reach + std::min(std::max(q.x, q.y), 0.0F) - pane.corner;
    Vec2 normal = reach > 1e-5F ? out * (1 / reach) : (q.x > q.y ? Vec2{1, 0} : Vec2{0, 1});
    normal = {local.x < 0 ? -normal.x : normal.x, local.y < 0 ? -normal.y : normal.y};
    return {-distance, {c * normal.x - s * normal.y, s * normal.x + c * normal.y}};
}

void layPane(Canvas& canvas, const Pane& pane, Rgb tint) {
    const Canvas frosted = blurred(canvas, 0.035F);
    const Canvas clear = blurred(canvas, 0.004F);
    const float pixel = canvas.pixel();
    canvas.repaint([&](Rgb below, float x, float y) {
        const Rgb shade = hex(0x3A2A6A);
        const float reach = length(pane.half) + 0.15F;
        if (std::abs(x - pane.center.x) > reach || std::abs(y - pane.center.y) > reach) return below;
        const float thrown = locate(pane, x - 0.012F, y - 0.03F).inside;
        const PanePoint at = locate(pane, x, y);
        const float outside = smoothStep(-0.10F, 0.05F, thrown);
        const Rgb ground = mix(below, below * shade, 0.55F * outside * outside);
        if (at.inside < -pixel) return ground;
        // The rounded rim bends what lies behind it; the frosted middle scatters it.
        const float rim = square(saturate(1 - at.inside / 0.030F));
        const Vec2 bent{x - at.outward.x * 0.075F * rim, y - at.outward.y * 0.075F * rim};
        Rgb glass = mix(frosted.sample(bent.x, bent.y), clear.sample(bent.x, bent.y), 0.75F * rim);
        glass = mix(glass, tint, 0.13F + 0.10F * saturate(0.6F - (y - pane.center.y) / pane.half.y * 0.5F));
        glass *= 1.03F + 0.020F * noise(x * 420, y * 420, 401);
        const float towards = dot(at.outward, {-0.6F, -0.8F});
        const float line = exponential(-square((at.inside - 0.0018F) / 0.0016F));
        glass += Rgb{1, 1, 1} *
                 (line * (0.16F + 0.75F * square(saturate(towards)) + 0.35F * square(saturate(-towards))));
        glass += Rgb{1, 1, 1} * (0.10F * rim * saturate(towards));
        return mix(ground, glass, saturate(0.5F + at.inside / pixel));
    });
}

}  // namespace

void paintGlassmorphism3(Canvas& canvas) {
    const float aspect = canvas.aspect();
    const float pixel = canvas.pixel();
    struct Glow {
        Vec2 center;
        float radius;
        std::uint32_t code;
    };
    const std::vector<Glow> glows{{{0.15F, 0.1F}, 0.75F, 0xFF6FA0},
                                  {{1.65F, 0.15F}, 0.7F, 0x5B7CFF},
                                  {{1.5F, 1.0F}, 0.75F, 0xFF9A5A},
                                  {{0.2F, 1.0F}, 0.7F, 0x8A5BFF},
                                  {{0.9F, 0.5F}, 0.6F, 0xE9A6FF}};
    const Ramp sphere{
        {0.0F, 0x3A1CA8}, {0.35F, 0x8A3DF0}, {0.65F, 0xFF5C8A}, {0.85F, 0xFFA45C}, {1.0F, 0xFFE3A8}};
    const std::vector<Glow> balls{{{0.25F, 0.25F}, 0.20F, 0},  {{1.55F, 0.72F}, 0.25F, 0},
                                  {{1.28F, 0.10F}, 0.105F, 0}, {{0.42F, 0.90F}, 0.13F, 0},
                                  {{0.06F, 0.70F}, 0.09F, 0},  {{1.70F, 0.26F}, 0.075F, 0}};
    canvas.paint([&](float x, float y) {
        Rgb sum = hex(0xB48CFF) * 0.35F;
        float total = 0.35F;
        const float wx = x + 0.10F * noise(x * 1.3F, y * 1.3F, 402);
        const float wy = y + 0.10F * noise(x * 1.3F + 5, y * 1.3F, 403);
        for (const Glow& glow : glows) {
            const float weight =
                exponential(-square(length({wx - glow.center.x, wy - glow.center.y}) / glow.radius) * 2.2F);
            sum += colorFromCode(glow.code) * weight;
            total += weight;
        }
        Rgb c = sum * (1 / total);
        for (const Glow& ball : balls) {
            const Vec2 d{(x - ball.center.x) / ball.radius, (y - ball.center.y) / ball.radius};
            const float r = length(d);
            c *= mix(Rgb{1, 1, 1}, hex(0x6A4AA8),
                     0.5F * smoothStep(1.5F, 0.7F, length({d.x - 0.12F, d.y - 0.28F})));
            if (r > 1.02F) continue;
            const float n = std::sqrt(std::max(1 - r * r, 0.0F));
            const float tone = 0.52F - 0.36F * d.y - 0.26F * d.x + 0.16F * n;
            Rgb skin = sphere(tone);
            skin += hex(0xFFC0F0) * (0.30F * power(1 - n, 3));
            c = mix(c, skin, saturate(0.5F + (1 - r) * ball.radius / pixel));
        }
        return c;
    });
    layPane(canvas, {{0.14F, 0.60F}, {0.30F, 0.205F}, 0.05F, -0.20F}, {1, 1, 1});
    layPane(canvas, {{aspect - 0.22F, 0.40F}, {0.26F, 0.30F}, 0.06F, 0.24F}, {1, 1, 1});
    layPane(canvas, {{0.92F, 0.06F}, {0.42F, 0.14F}, 0.06F, 0.06F}, {1, 1, 1});
    layPane(canvas, {{0.86F, 0.97F}, {0.55F, 0.12F}, 0.06F, -0.05F}, {1, 1, 1});
}

void paintGlassmorphism4(Canvas& canvas) {
    const Ramp ember{{0.0F, 0x05060F},  {0.22F, 0x0B1C4A}, {0.42F, 0x1F4FC8}, {0.6F, 0x7A6BF0},
                     {0.76F, 0xFF8FA6}, {0.9F, 0xFFC98A},  {1.0F, 0xFFF3DA}};
    const float aspect = canvas.aspect();
    // What stands behind the glass: two rings of light and a glow.
    const auto behind = [&](float x, float y) {
        const float warped = 0.04F * noise(x * 1.4F, y * 1.4F, 411);
        const float first = length({x - 0.20F * aspect, y - 0.72F}) - 0.46F + warped;
        const float second = length({x - 0.84F * aspect, y - 0.24F}) - 0.52F + warped;
        const float rings = exponential(-square(first / (first > 0 ? 0.05F : 0.22F))) +
                            exponential(-square(second / (second > 0 ? 0.06F : 0.26F)));
        const float floor = 0.16F * smoothStep(0.2F, 1.1F, y) + 0.10F * noise(x * 0.9F, y * 0.9F, 412);
        return ember(0.10F + 0.80F * std::min(rings, 1.15F) + floor);
    };
    canvas.paint([&](float x, float y) {
        // Flutes: half round bars side by side, each a lens of its own.
        constexpr float kWidth = 0.058F;
        const float slanted = x + 0.0F * y;
        const float position = slanted / kWidth;
        const float u = 2 * fraction(position) - 1;
        const float bulge = std::sqrt(std::max(1 - 0.92F * u * u, 0.0F));
        const float bend = u / std::max(bulge, 0.28F) * 0.062F;
        const auto through = [&](float strength) {
            return behind(x - bend * strength - 0.5F * u * kWidth, y);
        };
        const Rgb red = through(0.92F);
        const Rgb green = through(1.0F);
        const Rgb blue = through(1.09F);
        Rgb c{red.r, green.g, blue.b};
        const float edge = power(std::abs(u), 6);
        c *= 1 - 0.55F * edge;
        // Both flanks of a bar mirror the room a little.
        const float gleam = bell(u + 0.58F, 0.10F) * 0.20F + bell(u - 0.78F, 0.05F) * 0.12F;
        c += mix(c, hex(0xBFD4FF), 0.5F) * (gleam * (0.5F + 0.5F * sine(2.6F * y + 1.2F * x)));
        c *= 1 + 0.02F * noise(x * 300, y * 300, 413);
        const float vignette =
            1 - 0.35F * square(length({(x - aspect / 2) / aspect, (y - 0.5F) * 0.7F}) * 1.4F);
        return c * vignette;
    });
    addBloom(canvas, 0.6F, 0.03F, 0.22F);
}

}  // namespace varnelle::painter
