#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

#include "media/Composition.h"
#include "media/FrameSource.h"

namespace varnelle::detail {

/// What one track of a composition shows at any time. For one thread at a time.
class TrackPictures {
public:
    /// `track` has to outlive this object. Pictures that were decoded lately are kept up to `cacheBytes`, of
    /// the source that was opened last. Sources are opened when something of them is wanted.
    TrackPictures(const CompositionTrack& track, std::size_t cacheBytes);

    [[nodiscard]] TrackID trackID() const { return track_->trackID(); }
    /// Absent if that is nothing, or once `isWanted` says no, as in `FrameSource::frame`. Throws
    /// `MediaError`.
    [[nodiscard]] std::optional<VideoFrame> frameAt(const CMTime& time,
                                                    const std::function<bool()>& isWanted);

private:
    const CompositionTrack* track_;
    std::size_t cacheBytes_;
    std::unique_ptr<FrameSource> source_;
    std::shared_ptr<const MediaAsset> asset_;
};

}  // namespace varnelle::detail
