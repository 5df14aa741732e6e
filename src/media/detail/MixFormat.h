#pragma once

#include <cstdint>

#include "media/detail/FFmpegPtr.h"

namespace varnelle::detail {

// The form in which sound is mixed: interleaved floats.
inline constexpr int kMixRate = 48'000;
inline constexpr int kMixChannels = 2;

/// A moment as a place on the grid of the mix: the nearest sample, from the exact time.
inline std::int64_t mixPosition(const CMTime& time) {
    return ticksFromTime(time, {1, kMixRate});
}

}  // namespace varnelle::detail
