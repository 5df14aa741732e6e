#pragma once

#include <array>

#include "media/detail/FFmpegPtr.h"

namespace varnelle::detail {

/// Lets one channel become two, or two become one, at the level that both have: by itself the library keeps
/// the power, so that one channel comes out quieter by 3 dB and two equal ones louder by 3 dB. Before
/// `swr_init`; returns what the library does.
[[nodiscard]] inline int keepLevels(SwrContext* resampler, int channelsFrom, int channelsTo) {
    constexpr std::array<double, 2> toBothSides{1, 1};
    constexpr std::array<double, 2> mean{0.5, 0.5};
    if (channelsFrom == 1 && channelsTo == 2) return swr_set_matrix(resampler, toBothSides.data(), 1);
    if (channelsFrom == 2 && channelsTo == 1) return swr_set_matrix(resampler, mean.data(), 2);
    return 0;
}

}  // namespace varnelle::detail
