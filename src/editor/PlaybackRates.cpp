#include "editor/PlaybackRates.h"

#include <fmt/format.h>

#include <cmath>

namespace varnelle {

std::string playbackRateLabel(float rate) {
    return fmt::format("{:.{}f}x", rate, rate == std::floor(rate) ? 0 : 1);
}

}  // namespace varnelle
