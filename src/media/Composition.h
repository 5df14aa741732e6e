#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "foundation/CMTime.h"
#include "media/MediaAsset.h"

namespace varnelle {

/// Identifies a track within a composition. 0 is no track.
using TrackID = int;
inline constexpr TrackID kInvalidTrackID = 0;

/// A stretch of track time filled by a stretch of a source. When the two durations differ, the source is
/// played faster or slower.
struct CompositionSegment {
    std::shared_ptr<const MediaAsset> asset;
    MediaTrack sourceTrack;
    CMTimeRange source;
    CMTimeRange target;

    /// The moment of the source that is shown at a moment of the track inside `target`.
    [[nodiscard]] CMTime sourceTime(const CMTime& trackTime) const;
};

/// A track of a composition: segments in ascending order without overlap.
class CompositionTrack {
public:
    CompositionTrack(TrackID id, MediaType mediaType) : id_(id), mediaType_(mediaType) {}

    /// Puts `range` of a track of `asset` at `start`; what stood at or after `start` moves later. Throws
    /// `std::invalid_argument` for a range that isn't numeric or has no length, or a source track of another
    /// type.
    void insertTimeRange(const CMTimeRange& range, const std::shared_ptr<const MediaAsset>& asset,
                         const MediaTrack& sourceTrack, const CMTime& start);
    /// Stretches or squeezes the segments inside `range` (which must cover them whole) to last `duration`;
    /// what comes after moves accordingly.
    void scaleTimeRange(const CMTimeRange& range, const CMTime& duration);

    [[nodiscard]] TrackID trackID() const { return id_; }
    [[nodiscard]] MediaType mediaType() const { return mediaType_; }
    [[nodiscard]] const std::vector<CompositionSegment>& segments() const { return segments_; }
    /// The segment that covers a moment, or null.
    [[nodiscard]] const CompositionSegment* segment(const CMTime& trackTime) const;
    [[nodiscard]] CMTime duration() const;

private:
    TrackID id_;
    MediaType mediaType_;
    std::vector<CompositionSegment> segments_;
};

/// Tracks that are played together. Built on one thread; safe to read from several once it is built.
class Composition {
public:
    /// The reference stays valid as long as the composition.
    CompositionTrack& addTrack(MediaType mediaType);
    [[nodiscard]] const std::deque<CompositionTrack>& tracks() const { return tracks_; }
    [[nodiscard]] const CompositionTrack* track(TrackID id) const;
    [[nodiscard]] CMTime duration() const;

private:
    std::deque<CompositionTrack> tracks_;
};

}  // namespace varnelle
