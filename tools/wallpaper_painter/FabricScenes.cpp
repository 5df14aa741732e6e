#include "wallpaper_painter/Noise.h"
#include "wallpaper_painter/SceneFunctions.h"

/// Cloth and foil: a surface of folds, lit by its slope.
namespace varnelle::painter {
namespace {

template <class Height>
Vec3 surfaceNormal(const Height& height, float x, float y) {
    constexpr float kStep = 0.0015F;
    const float h = height(x, y);
    return normalized({(h - height(x + kStep, y)) / kStep, (h - height(x, y + kStep)) / kStep, 1});
}

/// What a view straight down on the surface mirrors.
Vec3 mirrored(Vec3 normal) {
    return normal * (2 * normal.z) - Vec3{0, 0, 1};
}

/// A fold with a round crest and a narrow valley, for a phase in radians.
float fold(float phase) {
    const float s = 0.5F + 0.5F * sine(phase);
    return s * (1.6F - 0.6F * s);
}

}  // namespace

void paintIridescent9(Canvas& canvas) {
    const Ramp film{{0.0F, 0x1A1440},  {0.13F, 0x3B2C9E}, {0.26F, 0x8A4BE0}, {0.38F, 0xE86FC5},
                    {0.50F, 0xFFB08A}, {0.60F, 0xFFE9A8}, {0.70F, 0x8FF0D0}, {0.82F, 0x3FA9F5},
                    {0.92F, 0x4646C8}, {1.0F, 0x1A1440}};
    const auto height = [](float x, float y) {
        const float bend = noise(x * 0.75F, y * 0.75F, 3) * 1.5F + noise(x * 1.6F + 5, y * 1.6F, 4) * 0.5F;
        const float across = 1.15F * x + 0.75F * y + 0.5F * bend;
        const float deep = fold(across * 5.2F + 1.4F * noise(x * 1.1F, y * 1.1F, 5)) * 0.21F;
        const float fine = fold(across * 12.4F + 3.4F * noise(x * 1.4F + 9, y * 1.4F, 6)) * 0.035F;
        return deep + fine * smoothStep(-0.5F, 0.6F, noise(x * 1.3F, y * 1.3F, 8)) + 0.06F * bend;
    };
    canvas.paint([&](float x, float y) {
        const Vec3 n = surfaceNormal(height, x, y);
        const Vec3 r = mirrored(n);
        const float h = height(x, y);
        // The colour of a thin film turns with the angle; the thickness drifts across the foil.
        const float facing = n.z;
        const float phase = 1.25F * (1 - facing) + 0.55F * n.x - 0.28F * n.y + 0.5F * h + 0.24F * x +
                            0.22F * noise(x * 1.2F, y * 1.2F, 21) + 0.05F;
        const Rgb tint = film(fraction(phase));
        const float window = smoothStep(0.15F, 0.8F, dot(r, normalized({-0.5F, -0.65F, 0.55F})));
        const float strip = smoothStep(0.93F, 0.99F, dot(r, normalized({-0.62F, -0.42F, 0.66F})));
        const float back = smoothStep(0.75F, 1.0F, dot(r, normalized({0.8F, 0.45F, 0.35F})));
        const float occlusion = 0.25F + 0.75F * smoothStep(-0.06F, 0.2F, h);
        Rgb c = tint * ((0.16F + 0.95F * window + 0.35F * back) * occlusion);
        c += mix(tint, Rgb{1, 1, 1}, 0.75F) * (strip * 0.75F);
        c += hex(0x4A6CFF) * (0.22F * back);
        return c;
    });
    addBloom(canvas, 0.7F, 0.02F, 0.28F);
}

void paintWallpaper3(Canvas& canvas) {
    const Ramp silk{{0.0F, 0x0B0713},  {0.25F, 0x3A0F2E}, {0.5F, 0x8E2A4E},
                    {0.72F, 0xD9705F}, {0.88F, 0xF7B98F}, {1.0F, 0xFFEBD2}};
    const auto height = [](float frameX, float frameY) {
        const float x = 1.55F * frameX + 0.4F;
        const float y = 1.55F * frameY;
        const float wander = noise(x * 0.6F, y * 0.6F, 31);
        const float along = 0.42F * x + 0.95F * y;
        const float across = 0.95F * x - 0.42F * y + 0.34F * wander + 0.07F * sine(along * 3.1F + 2 * wander);
        float h = 0.17F * sine(across * 4.3F + 1.3F * noise(along * 0.8F, across * 0.5F, 32));
        h += 0.085F * sine(across * 9.7F + 2.6F * noise(along * 1.1F + 4, across, 33)) *
             (0.6F + 0.6F * wander);
        h += 0.032F * sine(across * 21.3F + 4.2F * noise(along * 1.3F + 8, across * 1.4F, 34)) *
             smoothStep(-0.3F, 0.7F, noise(x * 1.2F, y * 1.2F, 35));
        return h;
    };
    canvas.paint([&](float x, float y) {
        const Vec3 n = surfaceNormal(height, x, y);
        const float h = height(x, y);
        const Vec3 light = normalized({-0.7F, -0.45F, 0.5F});
        const float diffuse = 0.5F + 0.5F * dot(n, light);
        const float occlusion = smoothStep(-0.30F, 0.18F, h);
        // Threads run along the folds, so that the shine stretches across them.
        const Vec3 halfway = normalized(light + Vec3{0, 0, 1});
        const Vec3 thread = normalized({0.42F, 0.95F, -(0.42F * n.x + 0.95F * n.y) / n.z * -1});
        const float along = dot(thread, halfway);
        const float sheen = power(std::max(1 - along * along, 0.0F), 18) * square(saturate(diffuse));
        const float rim = power(1 - n.z, 2.2F);
        const float value =
            0.08F + 0.95F * power(diffuse, 1.7F) * (0.35F + 0.65F * occlusion) + 0.36F * sheen;
        Rgb c = silk(value);
        c += hex(0x7A4DFF) * (0.20F * rim * saturate(n.x * 1.4F));
        return c * (0.50F + 0.75F * occlusion);
    });
    addBloom(canvas, 0.6F, 0.03F, 0.2F);
}

}  // namespace varnelle::painter
