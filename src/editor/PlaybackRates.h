#pragma once

#include <array>
#include <string>

namespace varnelle {

/// The rates that the editor offers.
inline constexpr std::array<float, 6> kPlaybackRates{0.5F, 1, 1.5F, 2, 4, 8};

/// "0.5x", "1x": with one decimal if the rate has a fraction.
std::string playbackRateLabel(float rate);

}  // namespace varnelle
