#pragma once

#include <cstdint>

#include "media/VideoFrame.h"

namespace varnelle::test {

/// The colour of a BGRA frame's pixel as 0xRRGGBB.
inline std::uint32_t pixel(const VideoFrame& frame, int x, int y) {
    const std::uint8_t* bytes = frame.plane(0).data + y * frame.plane(0).bytesPerRow + x * 4;
    return static_cast<std::uint32_t>(bytes[2] << 16 | bytes[1] << 8 | bytes[0]);
}

}  // namespace varnelle::test
