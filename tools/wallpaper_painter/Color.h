#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>

#include "wallpaper_painter/Math.h"

namespace varnelle::painter {

/// A colour in linear light, 1 being the brightest that the screen shows; light sources may exceed it.
struct Rgb {
    float r = 0;
    float g = 0;
    float b = 0;
};

inline Rgb operator+(Rgb a, Rgb b) {
    return {a.r + b.r, a.g + b.g, a.b + b.b};
}
inline Rgb operator-(Rgb a, Rgb b) {
    return {a.r - b.r, a.g - b.g, a.b - b.b};
}
inline Rgb operator*(Rgb a, Rgb b) {
    return {a.r * b.r, a.g * b.g, a.b * b.b};
}
inline Rgb operator*(Rgb a, float f) {
    return {a.r * f, a.g * f, a.b * f};
}
inline Rgb& operator+=(Rgb& a, Rgb b) {
    return a = a + b;
}
inline Rgb& operator*=(Rgb& a, Rgb b) {
    return a = a * b;
}
inline Rgb& operator*=(Rgb& a, float f) {
    return a = a * f;
}
inline Rgb mix(Rgb a, Rgb b, float t) {
    return a + (b - a) * t;
}
inline float luminance(Rgb c) {
    return 0.2126F * c.r + 0.7152F * c.g + 0.0722F * c.b;
}

constexpr float linearFromSRGB(float value) {
    return value <= 0.04045F ? value / 12.92F : power((value + 0.055F) / 1.055F, 2.4F);
}
/// The colour of an sRGB code such as 0x3B7DD8.
constexpr Rgb colorFromCode(std::uint32_t code) {
    const auto component = [code](unsigned shift) {
        return linearFromSRGB(static_cast<float>((code >> shift) & 0xFFU) / 255);
    };
    return {component(16), component(8), component(0)};
}
/// The same, worked out while compiling: shaders name their colours for every pixel.
consteval Rgb hex(std::uint32_t code) {
    return colorFromCode(code);
}
float sRGBFromLinear(float value);

/// A row of colours blended in OKLab (Björn Ottosson, "A perceptual color space for image processing"), so
/// that the way between two hues doesn't go through mud.
class Ramp {
public:
    struct Stop {
        float at;
        std::uint32_t code;
    };

    /// Stops from lowest to highest; before the first and after the last the colour stays.
    Ramp(std::initializer_list<Stop> stops);

    [[nodiscard]] Rgb operator()(float t) const {
        const float position = saturate((t - low_) / (high_ - low_)) * (kEntries - 1);
        const auto index = std::min(static_cast<std::size_t>(position), kEntries - 2);
        return mix(entries_[index], entries_[index + 1], position - static_cast<float>(index));
    }

private:
    static constexpr std::size_t kEntries = 512;
    float low_;
    float high_;
    std::array<Rgb, kEntries> entries_;
};

}  // namespace varnelle::painter
