#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

/// Arithmetic of the painter. The transcendental functions are polynomials of our own, so that a picture
/// comes out the same whatever mathematics library the machine has; they are also what makes painting fast.
namespace varnelle::painter {

inline constexpr float kPi = 3.14159265F;
inline constexpr float kTwoPi = 2 * kPi;

struct Vec2 {
    float x = 0;
    float y = 0;
};

inline Vec2 operator+(Vec2 a, Vec2 b) {
    return {a.x + b.x, a.y + b.y};
}
inline Vec2 operator-(Vec2 a, Vec2 b) {
    return {a.x - b.x, a.y - b.y};
}
inline Vec2 operator*(Vec2 a, float f) {
    return {a.x * f, a.y * f};
}
inline float dot(Vec2 a, Vec2 b) {
    return a.x * b.x + a.y * b.y;
}
inline float length(Vec2 a) {
    return std::sqrt(dot(a, a));
}

struct Vec3 {
    float x = 0;
    float y = 0;
    float z = 0;
};

inline Vec3 operator+(Vec3 a, Vec3 b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vec3 operator-(Vec3 a, Vec3 b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec3 operator*(Vec3 a, float f) {
    return {a.x * f, a.y * f, a.z * f};
}
inline float dot(Vec3 a, Vec3 b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vec3 normalized(Vec3 a) {
    return a * (1 / std::sqrt(dot(a, a)));
}

inline float saturate(float x) {
    return std::min(std::max(x, 0.0F), 1.0F);
}
inline float mix(float a, float b, float t) {
    return a + (b - a) * t;
}
inline float square(float x) {
    return x * x;
}
/// 0 before `a`, 1 after `b`, linear between; `a` may be more than `b`.
inline float linearStep(float a, float b, float x) {
    return saturate((x - a) / (b - a));
}
inline float smoothStep(float a, float b, float x) {
    const float t = linearStep(a, b, x);
    return t * t * (3 - 2 * t);
}

constexpr std::int32_t floorToInt(float x) {
    const auto truncated = static_cast<std::int32_t>(x);
    return truncated - static_cast<std::int32_t>(x < static_cast<float>(truncated));
}
inline float fraction(float x) {
    return x - static_cast<float>(floorToInt(x));
}

/// Within 4e-6 for arguments up to some thousands.
inline float sine(float x) {
    float r = x * (1 / kTwoPi);
    r -= static_cast<float>(floorToInt(r + 0.5F));
    if (r > 0.25F) r = 0.5F - r;
    if (r < -0.25F) r = -0.5F - r;
    const float a = r * kTwoPi;
    const float s = a * a;
    return a * (1 + s * (-1 / 6.0F + s * (1 / 120.0F + s * (-1 / 5040.0F + s * (1 / 362880.0F)))));
}
inline float cosine(float x) {
    return sine(x + kPi / 2);
}

constexpr float exponential2(float x) {
    const float limited = std::min(std::max(x, -120.0F), 120.0F);
    const std::int32_t whole = floorToInt(limited);
    const float f = limited - static_cast<float>(whole);
    const float mantissa =
        1 + f * (0.6931472F + f * (0.2402265F + f * (0.0555033F + f * (0.0096181F + f * 0.0013386F))));
    return mantissa * std::bit_cast<float>((whole + 127) << 23);
}
constexpr float exponential(float x) {
    return exponential2(x * 1.44269504F);
}

/// For positive arguments.
constexpr float logarithm2(float x) {
    const auto bits = std::bit_cast<std::uint32_t>(x);
    auto exponent = static_cast<std::int32_t>(bits >> 23) - 127;
    float m = std::bit_cast<float>((bits & 0x7FFFFFU) | 0x3F800000U);
    if (m > 1.41421356F) {
        m *= 0.5F;
        ++exponent;
    }
    const float t = (m - 1) / (m + 1);
    const float s = t * t;
    return static_cast<float>(exponent) +
           2.88539008F * t * (1 + s * (1 / 3.0F + s * (1 / 5.0F + s * (1 / 7.0F))));
}
/// For bases of 0 and more.
constexpr float power(float base, float exponent) {
    return base <= 1e-30F ? 0 : exponential2(exponent * logarithm2(base));
}

/// A bell of height 1 and the given standard deviation.
inline float bell(float x, float sigma) {
    return exponential(-0.5F * square(x / sigma));
}

}  // namespace varnelle::painter
