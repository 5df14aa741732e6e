#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "media/detail/MixFormat.h"

namespace varnelle::detail {

/// Keeps a stereo mix within full scale. Around a sample that exceeds it the gain goes down and up again,
/// linearly over a few milliseconds on both sides, so that two loud sources don't crackle as they would if
/// they were cut off. Sound further away from such a sample passes bit for bit.
class PeakLimiter {
public:
    /// Takes interleaved samples; appends those whose gain is settled, which is a few milliseconds later.
    void process(std::span<const float> samples, std::vector<float>& output);
    /// Appends the rest.
    void flush(std::vector<float>& output);

private:
    /// Frames that the gain takes to go down, and as many to go up: 5 ms.
    static constexpr std::int64_t kRamp = 240;

    struct Need {
        std::int64_t frame;
        double reduction;
    };

    void step(double reduction, std::vector<float>& output);

    std::deque<float> waiting_;                ///< samples whose gain isn't settled
    std::int64_t frame_ = 0;                   ///< the newest that was looked at
    std::deque<Need> needs_;                   ///< candidates for the largest of the last kRamp + 1 frames
    std::array<double, kRamp + 1> largest_{};  ///< those, for kRamp + 1 frames in a row, as a ring
    double sum_ = 0;                           ///< of the ring
    int nonZeroCount_ = 0;                     ///< in the ring
};

}  // namespace varnelle::detail
