#include "media/detail/LiveMixer.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "foundation/Log.h"
#include "media/detail/MixFormat.h"

namespace varnelle::detail {
namespace {

/// Samples of each channel: 10 ms.
constexpr std::int64_t kBlockFrames = kMixRate / 100;

}  // namespace

LiveMixer::LiveMixer(std::shared_ptr<const Composition> composition)
    : composition_(std::move(composition)),
      frameCount_(std::max<std::int64_t>(0, mixPosition(composition_->duration()))) {
    for (const CompositionTrack& track : composition_->tracks()) {
        if (track.mediaType() == MediaType::audio) tracks_.push_back({&track, nullptr});
    }
}

void LiveMixer::setMix(const AudioMix& mix) {
    for (Track& track : tracks_) track.wantedVolume = mix.volume(track.track->trackID());
}

void LiveMixer::seek(std::int64_t position) {
    position_ = position;
    limiter_ = {};
    for (Track& track : tracks_) track.volume = track.wantedVolume;
}

void LiveMixer::mixBlock(std::vector<float>& output) {
    if (isAtEnd()) return;
    const std::int64_t count = std::min(kBlockFrames, frameCount_ - position_);
    mixed_.assign(static_cast<std::size_t>(count) * kMixChannels, 0.0F);
    for (Track& track : tracks_) {
        try {
            if (!track.isBroken) add(track, count);
        } catch (const std::exception& error) {
            logger(LogCategory::app).warn("Playing without a sound track: {}", error.what());
            track.isBroken = true;
        }
    }
    position_ += count;
    limiter_.process(mixed_, output);
    if (isAtEnd()) limiter_.flush(output);
}

void LiveMixer::add(Track& track, std::int64_t count) {
    const float from = std::exchange(track.volume, track.wantedVolume);
    if (from == 0 && track.volume == 0) return;
    if (!track.reader) track.reader = std::make_unique<SoundTrackReader>(*track.track);
    if (from == track.volume) return track.reader->addTo(mixed_, position_, from);
    ramped_.assign(mixed_.size(), 0.0F);
    track.reader->addTo(ramped_, position_, 1);
    for (std::size_t i = 0; i < ramped_.size(); ++i) {
        const std::size_t frame = i / kMixChannels;
        const float share = static_cast<float>(frame) / static_cast<float>(count);
        mixed_[i] += ramped_[i] * (from + share * (track.volume - from));
    }
}

}  // namespace varnelle::detail
