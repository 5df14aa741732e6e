#include "media/detail/TrackPictures.h"

namespace varnelle::detail {

TrackPictures::TrackPictures(const CompositionTrack& track, std::size_t cacheBytes)
    : track_(&track), cacheBytes_(cacheBytes) {}

std::optional<VideoFrame> TrackPictures::frameAt(const CMTime& time, const std::function<bool()>& isWanted) {
    const CompositionSegment* segment = track_->segment(time);
    if (segment == nullptr) return std::nullopt;
    const bool isOpen = source_ && asset_ == segment->asset &&
                        source_->track().streamIndex == segment->sourceTrack.streamIndex;
    if (!isOpen) {
        source_.reset();
        source_ = std::make_unique<FrameSource>(segment->asset, segment->sourceTrack, cacheBytes_);
        asset_ = segment->asset;
    }
    return source_->frame(segment->sourceTime(time), isWanted);
}

}  // namespace varnelle::detail
