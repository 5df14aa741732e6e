#pragma once

#include <cstdint>

#include "foundation/CMTime.h"

namespace varnelle {

/// The monotonic clock (CLOCK_MONOTONIC) that every stream of a recording is timed with. Safe on any thread.
/// Host times have a timescale of a billion.
inline constexpr std::int32_t kHostTimescale = 1'000'000'000;

CMTime hostTimeNow();
/// Nanoseconds of the same clock as a time.
CMTime hostTimeFromNanoseconds(std::int64_t nanoseconds);

}  // namespace varnelle
