#include <vector>

#include "wallpaper_painter/Noise.h"
#include "wallpaper_painter/SceneFunctions.h"

/// Pictures made of light alone.
namespace varnelle::painter {
namespace {

/// A bundle of glowing threads that cross the frame side by side, twisting about one another.
struct Bundle {
    float center;
    float slope;
    float spread;
    float swing;
    float frequency;
    float phase;
    int threads;
    float brightness;
    const Ramp* colors;
    std::uint32_t seed;
};

void addBundle(Canvas& canvas, const Bundle& bundle) {
    const float pixel = canvas.pixel();
    const float aspect = canvas.aspect();
    parallelRows(canvas.width(), [&](int column) {
        const float x = canvas.centerX(column);
        const float s = x - aspect / 2;
        for (int i = 0; i < bundle.threads; ++i) {
            const float t = static_cast<float>(i) / static_cast<float>(bundle.threads - 1);
            const auto place = [&](float at) {
                const float twist = sine(bundle.frequency * at + bundle.phase + 2.9F * t);
                const float wide =
                    0.32F + 0.68F * (0.5F + 0.5F * sine(0.9F * bundle.frequency * at + 1.7F * bundle.phase));
                return bundle.center + bundle.slope * at + bundle.swing * sine(1.35F * at + bundle.phase) +
                       bundle.spread * wide *
                           (twist * (0.35F + 0.65F * t) + 0.25F * sine(2.1F * at + 7 * t)) +
                       0.010F * noise(at * 2.3F, t * 11, bundle.seed);
            };
            const float y = place(s);
            const float tilt = (place(s + 0.003F) - y) / 0.003F;
            const float lean = 1 / std::sqrt(1 + tilt * tilt);
            const float flow = 0.45F + 0.55F * noise(s * 1.4F + 3 * t, t * 23, bundle.seed + 1);
            const float strand = 0.15F + 0.85F * square(random(i, 0, bundle.seed));
            const float light = bundle.brightness * strand * std::max(flow, 0.03F);
            const Rgb color = (*bundle.colors)(saturate(t + 0.25F * sine(1.8F * s + bundle.phase))) * light;
            const float core = 0.0006F + 0.0011F * random(i, 1, bundle.seed);
            const float reach = 0.045F;
            const int top = std::max(static_cast<int>((y - reach) / pixel), 0);
            const int bottom = std::min(static_cast<int>((y + reach) / pixel), canvas.height() - 1);
            for (int row = top; row <= bottom; ++row) {
                const float d = std::abs(canvas.centerY(row) - y) * lean;
                // A bright thread in a dim halo that ends without an edge.
                const float end = square(std::max(1 - square(d / (reach * lean)), 0.0F));
                const float line = square(core / (core + d)) + 0.012F * end / (1 + square(d / 0.008F));
                canvas.row(row)[column] += color * (line * end);
            }
        }
    });
}

}  // namespace

void paintEnergy19(Canvas& canvas) {
    const Ramp warm{{0.0F, 0xFF2D55}, {0.3F, 0xFF6A2B}, {0.6F, 0xFFB03A}, {1.0F, 0xFFE7B0}};
    const Ramp cool{{0.0F, 0x3A1DFF}, {0.35F, 0x7A2BFF}, {0.65F, 0xD22BE0}, {1.0F, 0xFF4F9A}};
    const Ramp deep{{0.0F, 0x123BFF}, {0.5F, 0x1E8BFF}, {1.0F, 0x55E0FF}};
    const float aspect = canvas.aspect();
    canvas.paint([&](float x, float y) {
        const Vec2 p{(x - aspect / 2) * 0.8F, y - 0.5F};
        const float band = bell(p.y - 0.32F * p.x - 0.06F * sine(3 * p.x), 0.30F);
        const float drift = 0.5F + 0.5F * fractalNoise(x * 1.1F, y * 1.1F, 3, 61);
        return hex(0x05040D) + hex(0x2A0D4F) * (0.75F * band * drift) +
               hex(0x5A1420) * (0.35F * band * smoothStep(-0.1F, 0.9F, p.x));
    });
    addBundle(canvas, {0.44F, 0.22F, 0.30F, 0.12F, 1.75F, 0.6F, 90, 0.9F, &deep, 101});
    addBundle(canvas, {0.50F, 0.26F, 0.25F, 0.15F, 2.15F, 1.3F, 120, 1.25F, &cool, 102});
    addBundle(canvas, {0.56F, 0.20F, 0.20F, 0.17F, 2.45F, 2.2F, 90, 1.5F, &warm, 103});
    Dice dice(104);
    for (int i = 0; i < 260; ++i) {
        const float x = dice(0, aspect);
        const float y = 0.5F + 0.24F * (x - aspect / 2) + dice(-0.42F, 0.42F) * dice();
        const float size = dice(0.0006F, 0.0022F);
        const Rgb color = mix(hex(0xFF9A4A), hex(0xC46BFF), dice()) * dice(0.2F, 1.2F);
        const float pixel = canvas.pixel();
        const int reach = static_cast<int>(4 * size / pixel) + 2;
        for (int dy = -reach; dy <= reach; ++dy) {
            for (int dx = -reach; dx <= reach; ++dx) {
                const int px = static_cast<int>(x / pixel) + dx;
                const int py = static_cast<int>(y / pixel) + dy;
                if (px < 0 || py < 0 || px >= canvas.width() || py >= canvas.height()) continue;
                canvas.row(py)[px] += color * bell(length({canvas.centerX(px) - x, canvas.centerY(py) - y}),
                                                   std::max(size, pixel));
            }
        }
    }
    addBloom(canvas, 0.25F, 0.012F, 0.5F);
    addBloom(canvas, 0.35F, 0.07F, 0.4F);
}

void paintWallpaper7(Canvas& canvas) {
    const Ramp sky{{0.0F, 0xFBE4EC}, {0.4F, 0xF3CBE3}, {0.75F, 0xC7B5F2}, {1.0F, 0x9AA9F0}};
    const Ramp skins{
        {0.0F, 0xFF7A8A}, {0.25F, 0xFFA36B}, {0.5F, 0xFFD1A6}, {0.75F, 0xB79CFF}, {1.0F, 0x6F86FF}};
    struct Orb {
        Vec2 center;
        float radius, skin, blur;
    };
    // The farther an orb is from the plane of focus, the softer its edge; listed back to front.
    const std::vector<Orb> orbs{
        {{0.60F, 0.08F}, 0.10F, 0.9F, 0.030F},   {{1.22F, 0.93F}, 0.12F, 0.15F, 0.028F},
        {{0.83F, 0.96F}, 0.06F, 0.7F, 0.022F},   {{1.16F, 0.03F}, 0.07F, 0.3F, 0.020F},
        {{0.30F, 0.86F}, 0.17F, 0.82F, 0.012F},  {{1.52F, 0.20F}, 0.20F, 0.62F, 0.010F},
        {{0.36F, 0.19F}, 0.085F, 0.4F, 0.006F},  {{1.40F, 0.74F}, 0.11F, 0.92F, 0.004F},
        {{0.07F, 0.36F}, 0.245F, 0.08F, 0.002F}, {{1.71F, 0.66F}, 0.235F, 0.02F, 0.002F},
        {{0.53F, 0.93F}, 0.075F, 0.33F, 0.002F}, {{1.58F, 0.97F}, 0.10F, 0.55F, 0.004F},
        {{0.02F, 0.92F}, 0.30F, 0.98F, 0.040F},  {{1.80F, -0.02F}, 0.26F, 0.27F, 0.045F}};
    const float pixel = canvas.pixel();
    const Vec3 light = normalized({-0.55F, -0.70F, 0.62F});
    canvas.paint([&](float x, float y) {
        Rgb c = sky(0.55F * y + 0.25F * x + 0.05F * sine(3 * x - 2 * y));
        c += hex(0xFFFFFF) * (0.22F * exponential(-square(length({x - 0.45F, y - 0.25F}) / 0.55F)));
        for (const Orb& orb : orbs) {
            const Vec2 d{(x - orb.center.x) / orb.radius, (y - orb.center.y) / orb.radius};
            if (std::max(std::abs(d.x), std::abs(d.y)) > 2.3F) continue;
            const float r = length(d);
            // Each throws a wide shadow to the lower right.
            const float thrown = length({d.x - 0.32F, d.y - 0.42F});
            c = c * mix(Rgb{1, 1, 1}, hex(0xA58BC8), 0.42F * smoothStep(1.75F, 0.5F, thrown));
            const float soft = std::max(orb.blur, pixel) / orb.radius;
            const float alpha = smoothStep(1 + soft, 1 - soft, r);
            if (alpha <= 0) continue;
            const float limited = std::min(r, 0.999F);
            const Vec3 n{d.x / std::max(r, 1e-4F) * limited, d.y / std::max(r, 1e-4F) * limited,
                         std::sqrt(1 - limited * limited)};
            const float diffuse = smoothStep(-0.55F, 1.0F, dot(n, light));
            const float edge = power(1 - n.z, 3);
            Rgb skin = mix(skins(orb.skin - 0.18F) * 0.42F, skins(orb.skin + 0.10F), diffuse);
            // Light from the ground below, and light that goes through at the rim.
            skin += hex(0xC9B8FF) * (0.30F * edge * saturate(0.4F + 0.8F * n.y)) +
                    hex(0xFFEFE6) * (0.55F * edge * saturate(-n.y - 0.6F * n.x));
            const Vec3 halfway = normalized(light + Vec3{0, 0, 1});
            const float gleam = power(std::max(dot(n, halfway), 0.0F), 30) * 0.34F +
                                smoothStep(0.965F, 0.985F, dot(n, halfway)) * 0.10F;
            skin += hex(0xFFF8F2) * gleam;
            c = mix(c, skin, alpha);
        }
        return c;
    });
}

}  // namespace varnelle::painter
