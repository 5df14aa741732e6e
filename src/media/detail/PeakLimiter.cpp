#include "media/detail/PeakLimiter.h"

#include <algorithm>
#include <cmath>

namespace varnelle::detail {

void PeakLimiter::process(std::span<const float> samples, std::vector<float>& output) {
    for (std::size_t i = 0; i < samples.size(); i += kMixChannels) {
        float peak = 0;
        for (std::size_t c = 0; c < kMixChannels; ++c) {
            peak = std::max(peak, std::abs(samples[i + c]));
            waiting_.push_back(samples[i + c]);
        }
        step(peak > 1 ? 1 - 1 / static_cast<double>(peak) : 0, output);
    }
}

void PeakLimiter::flush(std::vector<float>& output) {
    for (std::int64_t i = 0; i < kRamp && !waiting_.empty(); ++i) step(0, output);
}

/// The reduction at a frame is the mean, over the ramp before it, of the largest reduction that is needed
/// within the ramp behind each of those. Every one of these sees the frame itself, so that the mean is never
/// less than what the frame needs.
void PeakLimiter::step(double reduction, std::vector<float>& output) {
    while (!needs_.empty() && needs_.back().reduction <= reduction) needs_.pop_back();
    needs_.push_back({frame_, reduction});
    if (needs_.front().frame < frame_ - kRamp) needs_.pop_front();

    double& place = largest_[static_cast<std::size_t>(frame_ % (kRamp + 1))];
    const double largest = needs_.front().reduction;
    nonZeroCount_ += (largest > 0 ? 1 : 0) - (place > 0 ? 1 : 0);
    sum_ = nonZeroCount_ == 0 ? 0 : sum_ + largest - place;
    place = largest;

    if (frame_++ < kRamp) return;
    const auto gain = static_cast<float>(1 - sum_ / (kRamp + 1));
    for (int c = 0; c < kMixChannels; ++c) {
        output.push_back(nonZeroCount_ == 0 ? waiting_.front()
                                            : std::clamp(waiting_.front() * gain, -1.0F, 1.0F));
        waiting_.pop_front();
    }
}

}  // namespace varnelle::detail
