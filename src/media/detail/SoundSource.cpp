#include "media/detail/SoundSource.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace varnelle::detail {
namespace {

/// Grid samples. Decoding begins this long before the wanted place: several frames of any codec, whose first
/// one after a seek lacks the overlap with the one before it.
constexpr std::int64_t kPreRoll = kMixRate / 10;
/// Grid samples. What is nearer than this is reached by decoding on.
constexpr std::int64_t kWorthSeeking = kMixRate;
/// Parts of a second. Containers round times; a frame that is off by less than this follows on the last.
constexpr int kJittersPerSecond = 500;
/// No recorded sample is louder; a decoder that was fed damage may give anything.
constexpr float kLoudest = 8;

}  // namespace

SoundSource::SoundSource(std::shared_ptr<const MediaAsset> asset, const MediaTrack& track)
    : asset_(std::move(asset)),
      streamIndex_(track.streamIndex),
      decoder_(asset_->url(), track.streamIndex, {"The sound", "a piece of the sound"}, 1) {}

void SoundSource::read(std::int64_t position, std::span<float> output) {
    if (position < position_ || position > position_ + kWorthSeeking) seek(position);
    const auto count = static_cast<std::int64_t>(output.size()) / kMixChannels;
    const auto target = [&](std::int64_t frame) {
        return output.begin() + (frame - position) * kMixChannels;
    };
    std::int64_t done = position;
    const std::int64_t end = position + count;
    while (done < end) {
        const std::int64_t readyEnd =
            readyPosition_ + static_cast<std::int64_t>(ready_.size()) / kMixChannels;
        if (done >= readyEnd && !hasEnded_) {
            decodeMore();
            continue;
        }
        const bool isSilent = done < readyPosition_ || done >= readyEnd;
        const std::int64_t until = std::min(end, done < readyPosition_ ? readyPosition_
                                                 : isSilent            ? end
                                                                       : readyEnd);
        if (isSilent) {
            std::fill(target(done), target(until), 0.0F);
        } else {
            const auto source = ready_.begin() + (done - readyPosition_) * kMixChannels;
            std::transform(source, source + (until - done) * kMixChannels, target(done),
                           [](float sample) { return std::abs(sample) <= kLoudest ? sample : 0.0F; });
        }
        done = until;
    }
    position_ = end;
}

void SoundSource::seek(std::int64_t position) {
    decoder_.seek(CMTime::make(position - kPreRoll, kMixRate));
    pending_.reset();
    resampler_.reset();
    ready_.clear();
    readyPosition_ = position;
    hasEnded_ = false;
}

/// Replaces what is ready by what comes next.
void SoundSource::decodeMore() {
    readyPosition_ += static_cast<std::int64_t>(ready_.size()) / kMixChannels;
    ready_.clear();
    FramePtr frame = pending_ ? std::move(pending_) : decoder_.next();
    if (!frame) {
        endRun();
        hasEnded_ = true;
        return;
    }
    const AVRational rate{1, frame->sample_rate};
    const std::int64_t start = av_rescale_q(frame->pts, decoder_.timeBase(), rate);
    const std::int64_t tolerated =
        frame->sample_rate / kJittersPerSecond + av_rescale_q_rnd(1, decoder_.timeBase(), rate, AV_ROUND_UP);
    if (resampler_ && (!resampler_->fits(*frame) || start > nextSample_ + tolerated)) {
        endRun();
        pending_ = std::move(frame);
        return;
    }
    if (!resampler_) {
        resampler_.emplace(*frame, start, asset_->url());
        readyPosition_ = resampler_->outputPosition();
        nextSample_ = start;
    }
    // What was stored twice is heard once.
    const std::int64_t repeated = start < nextSample_ - tolerated ? nextSample_ - start : 0;
    if (repeated >= frame->nb_samples) return;
    resampler_->process(*frame, static_cast<int>(repeated), ready_);
    nextSample_ += frame->nb_samples - repeated;
}

void SoundSource::endRun() {
    if (resampler_) resampler_->flush(ready_);
    resampler_.reset();
}

}  // namespace varnelle::detail
