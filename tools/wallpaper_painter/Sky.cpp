#include "wallpaper_painter/Sky.h"

#include "wallpaper_painter/Noise.h"

namespace varnelle::painter {
namespace {

/// Clouds are painted on a picture of about this height.
constexpr int kCloudRows = 540;
constexpr int kMarchSteps = 40;

/// Light that gets through, and what the cloud itself sends.
struct Veil {
    Rgb light;
    float clear = 1;
};

Veil mix(const Veil& a, const Veil& b, float t) {
    return {painter::mix(a.light, b.light, t), painter::mix(a.clear, b.clear, t)};
}

float cloudDensity(const CloudBank& bank, Vec3 p, int octaves) {
    const float rise = (p.y - bank.base) / (bank.top - bank.base);
    if (rise <= 0 || rise >= 1) return 0;
    const Vec3 q{(p.x + bank.offset.x) / bank.featureSize, p.y / bank.featureSize * 1.4F,
                 (p.z + bank.offset.y) / bank.featureSize};
    // Large masses first: most of the sky needs no more.
    const float mass = noise(q * 0.45F, bank.seed) * 0.75F + (bank.cover - 0.5F) * 1.6F;
    const float shape = 1 - square(2 * rise - 0.7F) * (rise < 0.35F ? 1.9F : 0.62F);
    float value = mass + 0.45F * shape - 0.42F;
    if (value < -0.42F) return 0;
    float amplitude = 0.42F;
    float frequency = 1.3F;
    for (int i = 0; i < octaves; ++i) {
        // Billows: folded noise, whose round sides point outwards.
        const float n =
            noise(Vec3{q.x * frequency + static_cast<float>(i) * 7.3F, q.y * frequency, q.z * frequency},
                  bank.seed + 1 + static_cast<std::uint32_t>(i));
        value += amplitude * (0.62F - 1.5F * std::abs(n)) * 0.8F;
        amplitude *= 0.52F;
        frequency *= 2.17F;
    }
    return saturate(value * 2.4F);
}

Veil lookThrough(const CloudBank& bank, Vec3 eye, Vec3 ray, float jitter) {
    Veil veil;
    const float slope = ray.y / ray.z;
    if (slope < 0.004F) return veil;
    const float near = bank.base / slope;
    const float far =
        std::min(bank.top / slope, near + 9 * bank.featureSize + 2 * (bank.top - bank.base) / slope);
    const float step = (far - near) / kMarchSteps;
    const Vec3 direction = ray * (1 / ray.z);
    const float stride = step * std::sqrt(dot(direction, direction));
    const float forward = std::max(dot(normalized(ray), bank.sun), 0.0F);
    const float silver = 0.75F + 1.8F * power(forward, 18) + 0.5F * power(forward, 4);
    for (int i = 0; i < kMarchSteps && veil.clear > 0.02F; ++i) {
        const float depth = near + step * (static_cast<float>(i) + jitter);
        const Vec3 p = Vec3{eye.x, 0, eye.z} + direction * depth;
        const float density = cloudDensity(bank, p, 4);
        if (density <= 0.01F) continue;
        // How much cloud lies towards the sun.
        float thickness = 0;
        for (const float reach : {0.12F, 0.32F, 0.7F}) {
            thickness += cloudDensity(bank, p + bank.sun * (reach * bank.featureSize), 2) * reach;
        }
        thickness *= bank.density * 2.4F;
        const float direct = 0.75F * exponential(-thickness) + 0.25F * exponential(-0.25F * thickness);
        const float powder = 1 - 0.55F * exponential(-3 * density);
        const float rise = saturate((p.y - bank.base) / (bank.top - bank.base));
        Rgb light = bank.sunlight * (direct * powder * silver) + bank.skylight * (0.55F + 0.45F * rise);
        light = painter::mix(light, bank.haze, 1 - exponential(-depth / bank.hazeDepth));
        const float opacity = 1 - exponential(-density * stride * bank.density * 5 / bank.featureSize);
        veil.light += light * (opacity * veil.clear);
        veil.clear *= 1 - opacity;
    }
    // Far clouds dissolve in the haze of the horizon.
    const float presence = smoothStep(0.004F, 0.05F, slope);
    veil.light *= presence;
    veil.clear = painter::mix(1.0F, veil.clear, presence);
    return veil;
}

}  // namespace

void addStars(Canvas& canvas, float density, float brightness, float fadeFrom, float fadeTo,
              std::uint32_t seed) {
    Dice dice(seed);
    const float pixel = canvas.pixel();
    const int count = static_cast<int>(density * canvas.aspect() * fadeTo);
    for (int i = 0; i < count; ++i) {
        const float x = dice(0, canvas.aspect());
        const float y = dice(0, fadeTo);
        const float magnitude = power(dice(), 7);
        const float warmth = dice();
        const float presence = dice();
        const float fade = linearStep(fadeTo, fadeFrom, y);
        if (presence > 0.25F + 0.75F * fade) continue;
        const Rgb tint = mix(Rgb{0.72F, 0.84F, 1.0F}, Rgb{1.0F, 0.9F, 0.76F}, warmth * warmth);
        const float radius = 0.00042F + 0.00075F * magnitude;
        const float light = brightness * (0.12F + 1.5F * magnitude) * fade;
        const float reach = 3.5F * radius + pixel;
        const int left = std::max(static_cast<int>((x - reach) / pixel), 0);
        const int right = std::min(static_cast<int>((x + reach) / pixel), canvas.width() - 1);
        const int top = std::max(static_cast<int>((y - reach) / pixel), 0);
        const int bottom = std::min(static_cast<int>((y + reach) / pixel), canvas.height() - 1);
        // Smaller than a pixel, a star keeps its light and loses its shape.
        const float sigma = std::max(radius, 0.55F * pixel);
        const float peak = light * square(radius / sigma);
        for (int py = top; py <= bottom; ++py) {
            for (int px = left; px <= right; ++px) {
                const float distance = length({canvas.centerX(px) - x, canvas.centerY(py) - y});
                canvas.row(py)[px] += tint * (peak * bell(distance, sigma));
            }
        }
    }
}

void paintClouds(Canvas& canvas, const Camera& camera, const CloudBank& bank) {
    const int divisor = std::max(canvas.height() / kCloudRows, 1);
    Raster<Veil> veils = reduced<Veil>(canvas, divisor);
    parallelRows(veils.height(), [&](int y) {
        const float v = veils.centerY(y);
        for (int x = 0; x < veils.width(); ++x) {
            const Vec3 ray = camera.ray(canvas.aspect(), veils.centerX(x), v);
            veils.row(y)[x] = lookThrough(bank, camera.eye, ray, random(x, y, bank.seed + 77));
        }
    });
    // The jitter of the steps has left a grain; a small smoothing makes it the softness of vapour.
    Raster<Veil> smooth = veils;
    parallelRows(veils.height(), [&](int y) {
        for (int x = 0; x < veils.width(); ++x) {
            Veil sum{{0, 0, 0}, 0};
            float total = 0;
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx) {
                    const Veil& v = veils.row(
                        std::clamp(y + dy, 0, veils.height() - 1))[std::clamp(x + dx, 0, veils.width() - 1)];
                    const float weight = (dx == 0 ? 2.0F : 1.0F) * (dy == 0 ? 2.0F : 1.0F);
                    sum.light += v.light * weight;
                    sum.clear += v.clear * weight;
                    total += weight;
                }
            }
            smooth.row(y)[x] = {sum.light * (1 / total), sum.clear / total};
        }
    });
    canvas.repaint([&](Rgb sky, float x, float y) {
        if (y > camera.horizon) return sky;
        const Veil veil = smooth.sample(x, y);
        return sky * veil.clear + veil.light;
    });
}

}  // namespace varnelle::painter
