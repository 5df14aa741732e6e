#include "media/FrameSource.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "media/MediaError.h"
#include "media/detail/FrameDecoder.h"

namespace varnelle {
namespace {

/// Frames. To decode this many that nobody wants costs less than to start the decoder's threads anew.
constexpr std::size_t kWorthSeeking = 8;

std::size_t bytesOf(const VideoFrame& frame) {
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const auto rows = static_cast<std::size_t>(i == 0 ? frame.height() : (frame.height() + 1) / 2);
        bytes += static_cast<std::size_t>(std::abs(frame.plane(i).bytesPerRow)) * rows;
    }
    return bytes;
}

}  // namespace

/// The decoder with its place in the track.
class FrameSource::Decoder {
public:
    Decoder(const URL& url, const MediaTrack& track) : decoder_(url, track), index_(*track.sampleIndex) {}

    /// Where `next` goes on: no picture before this place of the index will come.
    [[nodiscard]] std::size_t position() const { return position_; }

    void seek(std::size_t keyFrame) {
        decoder_.seek(index_[keyFrame].presentationTime);
        position_ = keyFrame;
    }

    struct Placed {
        std::size_t index;
        VideoFrame picture;
    };

    [[nodiscard]] std::optional<Placed> next() {
        auto frame = decoder_.next();
        if (!frame) {
            position_ = index_.size();
            return std::nullopt;
        }
        const auto after = std::upper_bound(
            index_.begin(), index_.end(), frame->presentationTime,
            [](const CMTime& time, const SampleIndexEntry& e) { return time < e.presentationTime; });
        const std::size_t place =
            after == index_.begin() ? 0 : static_cast<std::size_t>(after - index_.begin()) - 1;
        position_ = place + 1;
        return Placed{place, std::move(frame->picture)};
    }

private:
    detail::FrameDecoder decoder_;
    const std::vector<SampleIndexEntry>& index_;
    std::size_t position_ = 0;
};

FrameSource::FrameSource(std::shared_ptr<const MediaAsset> asset, MediaTrack track, std::size_t cacheBytes)
    : asset_(std::move(asset)), track_(std::move(track)), cacheBytes_(cacheBytes) {
    if (track_.mediaType != MediaType::video || !track_.sampleIndex) {
        throw MediaError(MediaError::Code::cannotDecode,
                         "“" + asset_->url().string() + "” has no picture to decode there.");
    }
    decoder_ = std::make_unique<Decoder>(asset_->url(), track_);
}

FrameSource::~FrameSource() = default;

std::optional<std::size_t> FrameSource::frameIndex(const CMTime& time) const {
    const auto& index = *track_.sampleIndex;
    if (index.empty() || !time.isNumeric()) return std::nullopt;
    const auto after = std::upper_bound(
        index.begin(), index.end(), time,
        [](const CMTime& t, const SampleIndexEntry& entry) { return t < entry.presentationTime; });
    return after == index.begin() ? 0 : static_cast<std::size_t>(after - index.begin()) - 1;
}

std::optional<VideoFrame> FrameSource::frame(const CMTime& time, const std::function<bool()>& isWanted) {
    const auto index = frameIndex(time);
    if (!index) return std::nullopt;
    if (lastIndex_ == index) return lastFrame_;
    auto found = cached(*index);
    if (!found) {
        bool isAbandoned = false;
        found = decode(*index, [&] { return !(isAbandoned = isAbandoned || !isWanted()); });
        if (isAbandoned) return std::nullopt;
    }
    lastIndex_ = index;
    lastFrame_ = found;
    return found;
}

std::optional<VideoFrame> FrameSource::decode(std::size_t index, const std::function<bool()>& isWanted) {
    std::size_t keyFrame = keyFrameIndex(index);
    std::optional<VideoFrame> best;
    if (decoder_->position() > index || decoder_->position() + kWorthSeeking < keyFrame) {
        decoder_->seek(keyFrame);
    } else if (lastFrame_ && lastIndex_ && *lastIndex_ < index) {
        best = lastFrame_;  // what is shown on if nothing up to `index` can be decoded
    }
    while (decoder_->position() <= index) {
        if (!isWanted()) return std::nullopt;
        auto placed = decoder_->next();
        if (!placed) break;
        if (placed->index > index && !best) {
            // The container went to a later key frame, or the one that was wanted is damaged: start earlier.
            if (keyFrame == 0) return placed->picture;
            keyFrame = keyFrameIndex(keyFrame - 1);
            decoder_->seek(keyFrame);
            continue;
        }
        remember(placed->index, placed->picture);
        if (placed->index > index) break;
        best = std::move(placed->picture);
    }
    return best;
}

std::size_t FrameSource::keyFrameIndex(std::size_t index) const {
    const auto& entries = *track_.sampleIndex;
    while (index > 0 && !entries[index].isKeyFrame) --index;
    return index;
}

std::optional<VideoFrame> FrameSource::cached(std::size_t index) {
    const auto found = cacheIndex_.find(index);
    if (found == cacheIndex_.end()) return std::nullopt;
    cache_.splice(cache_.begin(), cache_, found->second);
    return found->second->picture;
}

void FrameSource::remember(std::size_t index, const VideoFrame& picture) {
    const std::size_t bytes = bytesOf(picture);
    if (bytes > cacheBytes_ || cacheIndex_.contains(index)) return;
    cache_.push_front({index, picture, bytes});
    cacheIndex_.emplace(index, cache_.begin());
    cachedBytes_ += bytes;
    while (cachedBytes_ > cacheBytes_) {
        cachedBytes_ -= cache_.back().bytes;
        cacheIndex_.erase(cache_.back().index);
        cache_.pop_back();
    }
}

}  // namespace varnelle
