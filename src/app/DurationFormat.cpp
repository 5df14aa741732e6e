#include "app/DurationFormat.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace varnelle {
namespace {

/// Far beyond every recording, and exact in a double with all its hundredths.
constexpr double kLongestSeconds = 1e12;

/// Whole units of which there are `perSecond` to a second. A number that was meant to be one, such as 0.29 s
/// in hundredths, counts as that one though its nearest double may lie a hair below.
std::int64_t wholeUnits(double seconds, int perSecond) {
    if (!std::isfinite(seconds) || seconds <= 0) return 0;
    const double units = std::min(seconds, kLongestSeconds) * perSecond;
    const double nearest = std::round(units);
    const double rounding = 4 * std::numeric_limits<double>::epsilon() * units;
    return static_cast<std::int64_t>(std::abs(units - nearest) <= rounding ? nearest : std::floor(units));
}

std::string clock(std::int64_t seconds) {
    const std::int64_t minutes = seconds / 60 % 60;
    if (seconds < 3600) return fmt::format("{}:{:02}", minutes, seconds % 60);
    return fmt::format("{}:{:02}:{:02}", seconds / 3600, minutes, seconds % 60);
}

}  // namespace

std::string menuBarDuration(double seconds) {
    return clock(wholeUnits(seconds, 1));
}

std::string durationWithTenths(double seconds) {
    const std::int64_t tenths = wholeUnits(seconds, 10);
    return fmt::format("{}.{}", clock(tenths / 10), tenths % 10);
}

std::string durationWithHundredths(double seconds) {
    const std::int64_t hundredths = wholeUnits(seconds, 100);
    return fmt::format("{}.{:02}", clock(hundredths / 100), hundredths % 100);
}

std::string panelTimer(double seconds) {
    const std::int64_t whole = wholeUnits(seconds, 1);
    return fmt::format("{:02}:{:02}", whole / 60 % 60, whole % 60);
}

}  // namespace varnelle
