#pragma once

#include <cstdint>

namespace varnelle {

/// Row kernels on BGRA pixels, for any thread.

/// destination = picture over destination by a coverage of 0 to 255 per pixel; both opaque.
void blendByCoverage(const std::uint8_t* picture, const std::uint8_t* coverage, int count,
                     std::uint8_t* destination);

/// destination = source, darkened per pixel to a share of 0 to 1; both opaque.
void darken(const std::uint8_t* source, const float* share, int count, std::uint8_t* destination);

/// destination = premultiplied source over destination.
void compositeOver(const std::uint8_t* source, int count, std::uint8_t* destination);

}  // namespace varnelle
