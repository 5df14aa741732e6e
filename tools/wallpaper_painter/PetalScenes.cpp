#include <array>

#include "wallpaper_painter/Noise.h"
#include "wallpaper_painter/SceneFunctions.h"

/// A great flower of curved sheets that opens upwards from below the frame.
namespace varnelle::painter {
namespace {

struct Bloom {
    Ramp petal;   ///< from the heart outwards
    Ramp ground;  ///< behind the flower, from the top down
    Rgb rim;
    Rgb shadow;  ///< what deepest shade leaves of a colour
    float gloss;
};

constexpr int kPetals = 15;

void paintBloom(Canvas& canvas, const Bloom& bloom) {
    const float pixel = canvas.pixel();
    const float aspect = canvas.aspect();
    struct Petal {
        float sine, cosine, size, width, bend, depth;
    };
    std::array<Petal, kPetals> petals{};
    for (int i = 0; i < kPetals; ++i) {
        // From the outside to the middle, left and right in turn, so that inner petals lie on outer ones.
        const float t = static_cast<float>(i) / (kPetals - 1);
        const float side = i % 2 == 0 ? 1.0F : -1.0F;
        const float angle =
            side * mix(1.62F, 0.03F, power(t, 0.85F)) + 0.05F * sine(static_cast<float>(i) * 2.4F);
        petals[static_cast<std::size_t>(i)] = {sine(angle),
                                               cosine(angle),
                                               mix(2.20F, 0.74F, power(t, 0.9F)),
                                               mix(0.42F, 0.21F, t),
                                               side * mix(0.40F, 0.10F, t),
                                               t};
    }
    canvas.paint([&](float x, float y) {
        const Vec2 p{x - aspect / 2, 1.16F - y};
        Rgb c = bloom.ground(y + 0.12F * sine(1.7F * x + 0.5F));
        float covered = 0;
        for (const Petal& petal : petals) {
            const float along = (petal.sine * p.x + petal.cosine * p.y) / petal.size;
            if (along < 0 || along > 1.25F) continue;
            const float across =
                petal.cosine * p.x - petal.sine * p.y - petal.bend * square(along) * (1 - 0.3F * along);
            // A leaf's outline: narrow at the root, widest past the middle, drawn to a point at the tip.
            const float a = saturate(along);
            const float outline = petal.width * 1.9F * power(a, 0.75F) * (1 - a * a * (0.35F + 0.65F * a));
            const float inside = (outline - std::abs(across)) * (1 - 0.35F * a);
            // Soft shadow upon the petals behind; the sky takes none.
            const float thrown = smoothStep(-0.15F, 0.02F, inside - 0.03F * across / petal.width);
            c = c * mix(Rgb{1, 1, 1}, bloom.shadow,
                        0.80F * square(thrown) * covered * smoothStep(1.25F, 0.8F, along));
            if (inside < -pixel || along > 1) continue;
            const float u = across / std::max(outline, 1e-3F) * (petal.bend > 0 ? 1.0F : -1.0F);
            // Each sheet is creased along its middle: one half looks to the light, the other away.
            const float crease = smoothStep(-0.16F, 0.10F, u + 0.10F * sine(4 * along));
            const float tone = 0.80F * along + 0.16F * petal.depth - 0.03F - 0.10F * u;
            Rgb sheet = bloom.petal(tone);
            const float hollow = mix(0.92F - 0.34F * smoothStep(-1.0F, 0.0F, u), 0.60F + 0.55F * u, crease);
            sheet *= 0.55F + 0.62F * hollow + 0.05F * sine(along * 9 + 4 * u);
            sheet += bloom.rim * (bloom.gloss * bell(u + 0.55F, 0.22F) * smoothStep(0.15F, 0.8F, along));
            sheet += bloom.rim *
                     (0.55F * exponential(-std::max(inside, 0.0F) / 0.006F) * smoothStep(0.05F, 0.6F, along));
            const float alpha = saturate(0.5F + inside / pixel);
            c = mix(c, sheet, alpha);
            covered = std::max(covered, alpha);
        }
        // The heart lies in its own shade.
        return c * (1 - 0.5F * exponential(-square(length({p.x * 0.9F, p.y - 0.06F}) / 0.24F)));
    });
    addBloom(canvas, 0.75F, 0.03F, 0.22F);
}

}  // namespace

void paintVentura(Canvas& canvas) {
    paintBloom(canvas, {.petal = {{0.0F, 0x7A1420},
                                  {0.2F, 0xC62E28},
                                  {0.45F, 0xF26B2C},
                                  {0.68F, 0xFBA544},
                                  {0.86F, 0xFFD58A},
                                  {1.0F, 0xFFF1D2}},
                        .ground = {{0.0F, 0x6FB7E4}, {0.45F, 0xB5D6E8}, {0.8F, 0xF0DCC8}, {1.1F, 0xF2B48A}},
                        .rim = hex(0xFFE6BE),
                        .shadow = hex(0x8A3A4A),
                        .gloss = 0.16F});
}

void paintVenturaDark(Canvas& canvas) {
    paintBloom(canvas, {.petal = {{0.0F, 0x05060F},
                                  {0.25F, 0x101A45},
                                  {0.5F, 0x1F3C96},
                                  {0.72F, 0x5B3FB8},
                                  {0.88F, 0xB04BB0},
                                  {1.0F, 0xF08AA8}},
                        .ground = {{0.0F, 0x04050C}, {0.6F, 0x0A0D22}, {1.1F, 0x141334}},
                        .rim = hex(0x8FA8FF),
                        .shadow = hex(0x1A1030),
                        .gloss = 0.07F});
}

}  // namespace varnelle::painter
