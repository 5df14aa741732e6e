#include "media/detail/SoundStretcher.h"

#include <SoundTouch.h>

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "media/detail/MixFormat.h"

namespace varnelle::detail {

static_assert(std::is_same_v<soundtouch::SAMPLETYPE, float>);

namespace {

// Milliseconds: the pieces that sound is made of, and by how much they are faded into each other. Shorter
// than the library's own for slow rates, which would put sound up to 80 ms off its place.
constexpr int kSequence = 40;
constexpr int kSeekWindow = 15;
constexpr int kOverlap = 8;

/// Within a piece sound runs at its own speed, so that it is in its place at the beginning and late or early
/// at the end. By how much it is late in the middle, in samples.
int meanLateness(double rate) {
    constexpr double piece = (kSequence - kOverlap) * kMixRate / 1000.0;
    return static_cast<int>(std::lround(piece * (rate - 1) / (2 * rate)));
}

}  // namespace

SoundStretcher::SoundStretcher(double rate) {
    if (rate == 1) return;
    stretcher_ = std::make_unique<soundtouch::SoundTouch>();
    stretcher_->setSampleRate(kMixRate);
    stretcher_->setChannels(kMixChannels);
    stretcher_->setTempo(rate);
    stretcher_->setSetting(SETTING_SEQUENCE_MS, kSequence);
    stretcher_->setSetting(SETTING_SEEKWINDOW_MS, kSeekWindow);
    stretcher_->setSetting(SETTING_OVERLAP_MS, kOverlap);
    toSkip_ = meanLateness(rate);
}

SoundStretcher::~SoundStretcher() = default;

void SoundStretcher::process(std::span<const float> samples, std::vector<float>& output) {
    if (!stretcher_) {
        output.insert(output.end(), samples.begin(), samples.end());
        return;
    }
    stretcher_->putSamples(samples.data(), static_cast<unsigned>(samples.size() / kMixChannels));
    receive(output);
}

void SoundStretcher::flush(std::vector<float>& output) {
    if (!stretcher_) return;
    stretcher_->flush();
    receive(output);
}

void SoundStretcher::receive(std::vector<float>& output) {
    if (toSkip_ < 0) output.insert(output.end(), static_cast<std::size_t>(-toSkip_) * kMixChannels, 0.0F);
    const unsigned ready = stretcher_->numSamples();
    const unsigned skipped = std::min(ready, static_cast<unsigned>(std::max(toSkip_, 0)));
    stretcher_->receiveSamples(skipped);
    toSkip_ = std::max(toSkip_, 0) - static_cast<int>(skipped);
    const unsigned count = stretcher_->numSamples();
    const std::size_t begin = output.size();
    output.resize(begin + std::size_t{count} * kMixChannels);
    const unsigned received = stretcher_->receiveSamples(output.data() + begin, count);
    output.resize(begin + std::size_t{received} * kMixChannels);
}

}  // namespace varnelle::detail
