#pragma once

#include <vector>

#include "foundation/URL.h"

namespace varnelle::test {

/// The first channel of a movie's n-th sound track, decoded and laid out on the movie's timeline from zero,
/// at the track's rate. Times where there is no sound are silent. Throws `std::runtime_error`.
std::vector<float> decodeSound(const URL& movie, int soundTrack);

/// Places, in samples, of the loudest sample of each stretch that is louder than `threshold`; stretches are
/// at least 10 ms apart.
std::vector<std::size_t> findClicks(const std::vector<float>& sound, float threshold);

}  // namespace varnelle::test
