#include "imaging/Blending.h"

namespace varnelle {
namespace {

/// x / 255, rounded, for 0 to 255 * 255.
std::uint8_t dividedBy255(unsigned x) {
    return static_cast<std::uint8_t>((x + 128 + ((x + 128) >> 8)) >> 8);
}

}  // namespace

void blendByCoverage(const std::uint8_t* picture, const std::uint8_t* coverage, int count,
                     std::uint8_t* destination) {
    for (int i = 0; i < count; ++i) {
        const unsigned c = coverage[i];
        for (int k = 4 * i; k < 4 * i + 4; ++k) {
            destination[k] = dividedBy255(picture[k] * c + destination[k] * (255 - c));
        }
    }
}

void darken(const std::uint8_t* source, const float* share, int count, std::uint8_t* destination) {
    for (int i = 0; i < count; ++i) {
        const auto factor = static_cast<std::uint32_t>(share[i] * 65536.0F + 0.5F);
        for (int k = 4 * i; k < 4 * i + 3; ++k) {
            destination[k] = static_cast<std::uint8_t>((source[k] * factor + 32768) >> 16);
        }
        destination[4 * i + 3] = 255;
    }
}

void compositeOver(const std::uint8_t* source, int count, std::uint8_t* destination) {
    for (int i = 0; i < count; ++i) {
        const unsigned rest = 255U - source[4 * i + 3];
        for (int k = 4 * i; k < 4 * i + 4; ++k) {
            destination[k] = static_cast<std::uint8_t>(source[k] + dividedBy255(destination[k] * rest));
        }
    }
}

}  // namespace varnelle
