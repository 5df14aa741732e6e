#include "media/Composition.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace varnelle {
namespace {

__extension__ using Int128 = __int128;

/// `time` times `numerator` / `denominator`, both durations; exact where a 32-bit timescale can hold it.
CMTime scaled(const CMTime& time, const CMTime& numerator, const CMTime& denominator) {
    // time * (nv / nt) / (dv / dt) = (tv * nv * dt) / (ts * nt * dv), reduced pair by pair to stay within 128
    // bits.
    Int128 top[3] = {time.value, numerator.value, denominator.timescale};
    Int128 bottom[3] = {time.timescale, numerator.timescale, denominator.value};
    for (Int128& a : top) {
        for (Int128& b : bottom) {
            const auto divisor = std::gcd(static_cast<std::int64_t>(a), static_cast<std::int64_t>(b));
            if (divisor > 1) {
                a /= divisor;
                b /= divisor;
            }
        }
    }
    constexpr Int128 largest = INT64_MAX;
    const Int128 low = bottom[0] * bottom[1];
    const Int128 high = top[0] * top[1];
    const bool fits = low <= INT32_MAX && low * bottom[2] <= INT32_MAX && high <= largest &&
                      high >= -largest && high * top[2] <= largest && high * top[2] >= -largest;
    if (fits) {
        return CMTime::make(static_cast<std::int64_t>(high * top[2]),
                            static_cast<std::int32_t>(low * bottom[2]));
    }
    // No timescale holds it: the nearest nanosecond.
    constexpr std::int32_t nanoseconds = 1'000'000'000;
    CMTime rounded =
        CMTime::fromSeconds(time.seconds() * (numerator.seconds() / denominator.seconds()), nanoseconds);
    rounded.flags |= CMTime::hasBeenRounded;
    return rounded;
}

}  // namespace

CMTime CompositionSegment::sourceTime(const CMTime& trackTime) const {
    const CMTime offset = trackTime - target.start;
    if (source.duration == target.duration) return source.start + offset;
    return source.start + scaled(offset, source.duration, target.duration);
}

void CompositionTrack::insertTimeRange(const CMTimeRange& range,
                                       const std::shared_ptr<const MediaAsset>& asset,
                                       const MediaTrack& sourceTrack, const CMTime& start) {
    if (!range.start.isNumeric() || !range.duration.isNumeric() || !start.isNumeric() ||
        start < kCMTimeZero || range.duration <= kCMTimeZero) {
        throw std::invalid_argument("a time range to insert has to be numeric and longer than nothing");
    }
    if (sourceTrack.mediaType != mediaType_) {
        throw std::invalid_argument("a track takes only media of its own type");
    }
    std::vector<CompositionSegment> result;
    const auto moved = [&range](CompositionSegment segment) {
        segment.target.start = segment.target.start + range.duration;
        return segment;
    };
    for (const CompositionSegment& segment : segments_) {
        if (segment.target.end() <= start) {
            result.push_back(segment);
        } else if (segment.target.start >= start) {
            result.push_back(moved(segment));
        } else {
            const CMTime cut = segment.sourceTime(start);
            CompositionSegment before = segment;
            before.source.duration = cut - segment.source.start;
            before.target.duration = start - segment.target.start;
            CompositionSegment after = segment;
            after.source = {cut, segment.source.end() - cut};
            after.target = {start, segment.target.end() - start};
            result.push_back(before);
            result.push_back(moved(after));
        }
    }
    const auto place =
        std::find_if(result.begin(), result.end(),
                     [&start](const CompositionSegment& segment) { return segment.target.start >= start; });
    result.insert(place, {asset, sourceTrack, range, {start, range.duration}});
    segments_ = std::move(result);
}

void CompositionTrack::scaleTimeRange(const CMTimeRange& range, const CMTime& duration) {
    if (!range.start.isNumeric() || !range.duration.isNumeric() || !duration.isNumeric() ||
        range.duration <= kCMTimeZero || duration <= kCMTimeZero) {
        throw std::invalid_argument("a time range to scale has to be numeric and longer than nothing");
    }
    const CMTime end = range.end();
    const auto isOutside = [&](const CompositionSegment& segment) {
        return segment.target.end() <= range.start || segment.target.start >= end;
    };
    for (const CompositionSegment& segment : segments_) {
        if (!isOutside(segment) && (segment.target.start < range.start || segment.target.end() > end)) {
            throw std::invalid_argument("a time range to scale has to cover its segments whole");
        }
    }
    for (CompositionSegment& segment : segments_) {
        if (segment.target.start >= end) {
            segment.target.start = segment.target.start + (duration - range.duration);
        } else if (!isOutside(segment)) {
            // Both ends are mapped, so that segments which touch go on touching.
            const CMTime scaledStart =
                range.start + scaled(segment.target.start - range.start, duration, range.duration);
            const CMTime scaledEnd =
                range.start + scaled(segment.target.end() - range.start, duration, range.duration);
            segment.target = {scaledStart, scaledEnd - scaledStart};
        }
    }
}

const CompositionSegment* CompositionTrack::segment(const CMTime& trackTime) const {
    if (!trackTime.isNumeric()) return nullptr;
    const auto next = std::upper_bound(
        segments_.begin(), segments_.end(), trackTime,
        [](const CMTime& time, const CompositionSegment& segment) { return time < segment.target.start; });
    if (next == segments_.begin()) return nullptr;
    const CompositionSegment& candidate = *std::prev(next);
    return trackTime < candidate.target.end() ? &candidate : nullptr;
}

CMTime CompositionTrack::duration() const {
    return segments_.empty() ? kCMTimeZero : segments_.back().target.end();
}

CompositionTrack& Composition::addTrack(MediaType mediaType) {
    return tracks_.emplace_back(static_cast<TrackID>(tracks_.size()) + 1, mediaType);
}

const CompositionTrack* Composition::track(TrackID id) const {
    const auto found = std::find_if(tracks_.begin(), tracks_.end(),
                                    [id](const CompositionTrack& track) { return track.trackID() == id; });
    return found == tracks_.end() ? nullptr : &*found;
}

CMTime Composition::duration() const {
    CMTime longest = kCMTimeZero;
    for (const CompositionTrack& track : tracks_) longest = std::max(longest, track.duration());
    return longest;
}

}  // namespace varnelle
