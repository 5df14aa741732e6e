#include "media/detail/SoundTrackReader.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "media/MediaError.h"

namespace varnelle::detail {
namespace {

/// Grid samples: 4 ms, too short to be noticed and long enough that nothing clicks.
constexpr std::int64_t kFade = kMixRate / 250;

bool goesOn(const SoundRun& run, const CompositionSegment& segment) {
    if (run.asset != segment.asset || run.sourceTrack.streamIndex != segment.sourceTrack.streamIndex)
        return false;
    // Measured from the run's beginning, so that many cuts don't add up to a shift.
    const CMTime shift = segment.source.start - segment.target.start - run.sourceOffset;
    return run.end == mixPosition(segment.target.start) && std::abs(shift.seconds()) * kMixRate < 0.5;
}

}  // namespace

float SoundRun::gain(std::int64_t position) const {
    const std::int64_t length = std::min(kFade, (end - begin) / 2);
    // The sample that is `distance` away from the end; a raised cosine.
    const auto fade = [length](std::int64_t distance) {
        if (distance >= length) return 1.0;
        const double share = (static_cast<double>(distance) + 0.5) / static_cast<double>(length);
        return 0.5 - 0.5 * std::cos(std::numbers::pi * share);
    };
    return static_cast<float>((fadesIn ? fade(position - begin) : 1) *
                              (fadesOut ? fade(end - 1 - position) : 1));
}

std::vector<SoundRun> soundRuns(const CompositionTrack& track) {
    std::vector<SoundRun> runs;
    for (const CompositionSegment& segment : track.segments()) {
        if (segment.source.duration != segment.target.duration) {
            throw MediaError(
                MediaError::Code::cannotDecode,
                "The sound of “" + segment.asset->url().string() + "” can't be played faster or slower.");
        }
        const std::int64_t end = mixPosition(segment.target.end());
        if (!runs.empty() && goesOn(runs.back(), segment)) {
            runs.back().end = end;
            continue;
        }
        SoundRun run;
        run.asset = segment.asset;
        run.sourceTrack = segment.sourceTrack;
        run.sourceOffset = segment.source.start - segment.target.start;
        run.begin = mixPosition(segment.target.start);
        run.end = end;
        run.sourceBegin = mixPosition(segment.source.start);
        run.fadesIn = run.begin > 0 || run.sourceBegin > 0;
        run.fadesOut = true;
        runs.push_back(std::move(run));
    }
    if (!runs.empty()) {
        SoundRun& last = runs.back();
        last.fadesOut = last.sourceBegin + last.end - last.begin < mixPosition(last.sourceTrack.duration);
    }
    return runs;
}

SoundTrackReader::SoundTrackReader(const CompositionTrack& track) : runs_(soundRuns(track)) {
    if (!runs_.empty()) openSource(runs_.front());
}

void SoundTrackReader::addTo(std::span<float> mix, std::int64_t position, float volume) {
    const std::int64_t end = position + static_cast<std::int64_t>(mix.size()) / kMixChannels;
    while (current_ > 0 && runs_[current_ - 1].end > position) --current_;
    while (current_ < runs_.size() && runs_[current_].end <= position) ++current_;
    for (; current_ < runs_.size() && runs_[current_].begin < end; ++current_) {
        const SoundRun& run = runs_[current_];
        const std::int64_t from = std::max(position, run.begin);
        const std::int64_t until = std::min(end, run.end);
        buffer_.resize(static_cast<std::size_t>(until - from) * kMixChannels);
        openSource(run);
        source_->read(run.sourceBegin + from - run.begin, buffer_);
        auto target = mix.begin() + (from - position) * kMixChannels;
        for (std::size_t i = 0; i < buffer_.size(); ++i) {
            const float gain = run.gain(from + static_cast<std::int64_t>(i / kMixChannels));
            *target++ += volume * gain * buffer_[i];
        }
        if (run.end > end) return;
    }
}

void SoundTrackReader::openSource(const SoundRun& run) {
    if (source_ && source_->isOf(run.asset, run.sourceTrack)) return;
    source_.reset();
    source_.emplace(run.asset, run.sourceTrack);
}

}  // namespace varnelle::detail
