#pragma once

#include <array>
#include <cstdint>

#include "wallpaper_painter/Math.h"

/// Repeatable randomness: hashes and gradient noise (Ken Perlin, "Improving Noise", 2002).
namespace varnelle::painter {

inline std::uint32_t hash(std::uint32_t x) {
    x ^= x >> 16;
    x *= 0x7FEB352DU;
    x ^= x >> 15;
    x *= 0x846CA68BU;
    return x ^ (x >> 16);
}
inline std::uint32_t hash(std::int32_t x, std::int32_t y, std::uint32_t seed) {
    return hash(static_cast<std::uint32_t>(x) * 0x8DA6B343U ^ static_cast<std::uint32_t>(y) * 0xD8163841U ^
                seed * 0xCB1AB31FU);
}
/// 0 up to, not including, 1.
inline float unitFloat(std::uint32_t bits) {
    return static_cast<float>(bits >> 8) * 0x1p-24F;
}
inline float random(std::int32_t x, std::int32_t y, std::uint32_t seed) {
    return unitFloat(hash(x, y, seed));
}

/// A sequence of random numbers.
class Dice {
public:
    explicit Dice(std::uint32_t seed) : state_(seed) {}
    /// Even from `low` to `high`.
    float operator()(float low = 0, float high = 1) {
        return mix(low, high, unitFloat(hash(state_ += 0x9E3779B9U)));
    }

private:
    std::uint32_t state_;
};

/// Where the noise is, and which way it rises.
struct NoiseSlope {
    float value;
    float dx;
    float dy;
};

namespace detail {
inline constexpr std::array<std::array<float, 2>, 16> kGradients{{
    {1.0F, 0.0F},
    {0.9239F, 0.3827F},
    {0.7071F, 0.7071F},
    {0.3827F, 0.9239F},
    {0.0F, 1.0F},
    {-0.3827F, 0.9239F},
    {-0.7071F, 0.7071F},
    {-0.9239F, 0.3827F},
    {-1.0F, 0.0F},
    {-0.9239F, -0.3827F},
    {-0.7071F, -0.7071F},
    {-0.3827F, -0.9239F},
    {0.0F, -1.0F},
    {0.3827F, -0.9239F},
    {0.7071F, -0.7071F},
    {0.9239F, -0.3827F},
}};
}  // namespace detail

/// Gradient noise with its derivative; about -1 to 1, smooth, features of about one unit.
inline NoiseSlope noiseSlope(float x, float y, std::uint32_t seed = 0) {
    const std::int32_t ix = floorToInt(x);
    const std::int32_t iy = floorToInt(y);
    const float fx = x - static_cast<float>(ix);
    const float fy = y - static_cast<float>(iy);
    const auto& ga = detail::kGradients[hash(ix, iy, seed) >> 28];
    const auto& gb = detail::kGradients[hash(ix + 1, iy, seed) >> 28];
    const auto& gc = detail::kGradients[hash(ix, iy + 1, seed) >> 28];
    const auto& gd = detail::kGradients[hash(ix + 1, iy + 1, seed) >> 28];
    const float a = ga[0] * fx + ga[1] * fy;
    const float b = gb[0] * (fx - 1) + gb[1] * fy;
    const float c = gc[0] * fx + gc[1] * (fy - 1);
    const float d = gd[0] * (fx - 1) + gd[1] * (fy - 1);
    const float u = fx * fx * fx * (fx * (fx * 6 - 15) + 10);
    const float v = fy * fy * fy * (fy * (fy * 6 - 15) + 10);
    const float du = 30 * fx * fx * (fx * (fx - 2) + 1);
    const float dv = 30 * fy * fy * (fy * (fy - 2) + 1);
    const float k = a - b - c + d;
    constexpr float kGain = 1.5F;
    return {kGain * (a + u * (b - a) + v * (c - a) + u * v * k),
            kGain * (ga[0] + u * (gb[0] - ga[0]) + v * (gc[0] - ga[0]) +
                     u * v * (ga[0] - gb[0] - gc[0] + gd[0]) + du * (b - a + v * k)),
            kGain * (ga[1] + u * (gb[1] - ga[1]) + v * (gc[1] - ga[1]) +
                     u * v * (ga[1] - gb[1] - gc[1] + gd[1]) + dv * (c - a + u * k))};
}

inline float noise(float x, float y, std::uint32_t seed = 0) {
    const std::int32_t ix = floorToInt(x);
    const std::int32_t iy = floorToInt(y);
    const float fx = x - static_cast<float>(ix);
    const float fy = y - static_cast<float>(iy);
    const auto corner = [&](std::int32_t cx, std::int32_t cy) {
        const auto& g = detail::kGradients[hash(ix + cx, iy + cy, seed) >> 28];
        return g[0] * (fx - static_cast<float>(cx)) + g[1] * (fy - static_cast<float>(cy));
    };
    const float u = fx * fx * fx * (fx * (fx * 6 - 15) + 10);
    const float v = fy * fy * fy * (fy * (fy * 6 - 15) + 10);
    return 1.5F * mix(mix(corner(0, 0), corner(1, 0), u), mix(corner(0, 1), corner(1, 1), u), v);
}

/// Gradient noise in space.
inline float noise(Vec3 p, std::uint32_t seed = 0) {
    const std::int32_t ix = floorToInt(p.x);
    const std::int32_t iy = floorToInt(p.y);
    const std::int32_t iz = floorToInt(p.z);
    const float fx = p.x - static_cast<float>(ix);
    const float fy = p.y - static_cast<float>(iy);
    const float fz = p.z - static_cast<float>(iz);
    const auto corner = [&](std::int32_t cx, std::int32_t cy, std::int32_t cz) {
        const std::uint32_t h =
            hash(ix + cx, iy + cy, seed + static_cast<std::uint32_t>(iz + cz) * 0x9E3779B9U);
        const float x = fx - static_cast<float>(cx);
        const float y = fy - static_cast<float>(cy);
        const float z = fz - static_cast<float>(cz);
        const std::uint32_t k = h >> 28;
        const float a = k < 8 ? x : y;
        const float b = k < 4 ? y : (k == 12 || k == 14 ? x : z);
        return ((k & 1U) != 0 ? -a : a) + ((k & 2U) != 0 ? -b : b);
    };
    const float u = fx * fx * fx * (fx * (fx * 6 - 15) + 10);
    const float v = fy * fy * fy * (fy * (fy * 6 - 15) + 10);
    const float w = fz * fz * fz * (fz * (fz * 6 - 15) + 10);
    const float near =
        mix(mix(corner(0, 0, 0), corner(1, 0, 0), u), mix(corner(0, 1, 0), corner(1, 1, 0), u), v);
    const float far =
        mix(mix(corner(0, 0, 1), corner(1, 0, 1), u), mix(corner(0, 1, 1), corner(1, 1, 1), u), v);
    return mix(near, far, w);
}

/// Octaves of noise, each turned against the last so that their grids never line up; about -1 to 1.
inline float fractalNoise(float x, float y, int octaves, std::uint32_t seed = 0, float gain = 0.5F) {
    float sum = 0;
    float amplitude = 1;
    float total = 0;
    for (int i = 0; i < octaves; ++i) {
        sum += amplitude * noise(x, y, seed + static_cast<std::uint32_t>(i));
        total += amplitude;
        amplitude *= gain;
        const float turned = 1.62F * x - 1.21F * y;
        y = 1.21F * x + 1.62F * y + 3.7F;
        x = turned;
    }
    return sum / total;
}

/// Octaves of noise folded into crests: 0 in valleys to about 1 on sharp ridges.
inline float ridgedNoise(float x, float y, int octaves, std::uint32_t seed = 0, float gain = 0.5F) {
    float sum = 0;
    float amplitude = 1;
    float total = 0;
    float weight = 1;
    for (int i = 0; i < octaves; ++i) {
        const float crest =
            square(1 - std::min(std::abs(noise(x, y, seed + static_cast<std::uint32_t>(i))), 1.0F));
        sum += amplitude * crest * weight;
        total += amplitude;
        weight = saturate(crest * 1.4F);
        amplitude *= gain;
        const float turned = 1.62F * x - 1.21F * y;
        y = 1.21F * x + 1.62F * y + 3.7F;
        x = turned;
    }
    return sum / total;
}

}  // namespace varnelle::painter
