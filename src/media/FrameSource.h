#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <unordered_map>

#include "foundation/CMTime.h"
#include "media/MediaAsset.h"
#include "media/VideoFrame.h"

namespace varnelle {

/// The pictures of one video track by source time. The picture at a time is the last one at or before it, and
/// the first one before that; asking for times in ascending order decodes each picture once, any other order
/// goes back to the key frame before. A damaged picture is replaced by the last good one before it.
///
/// Frames that were decoded lately are kept up to `cacheBytes`, which makes going back and forth cheap.
/// Asking again for the same picture gives the same storage as long as it is the last one or in the cache.
/// For one thread at a time; the frames themselves may go anywhere.
class FrameSource {
public:
    /// Opens the file and the decoder. Throws `MediaError` (`cannotOpen`, `cannotDecode`).
    FrameSource(std::shared_ptr<const MediaAsset> asset, MediaTrack track, std::size_t cacheBytes = 0);
    ~FrameSource();
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;

    /// Exactly the picture that belongs to the time. Absent if the track has no picture that can be decoded,
    /// or once `isWanted`, which is asked before each picture that has to be decoded, says no. What was
    /// decoded until then isn't lost. Throws `MediaError` (`cannotDecode`) if the file can't be read any
    /// more.
    [[nodiscard]] std::optional<VideoFrame> frame(
        const CMTime& time, const std::function<bool()>& isWanted = [] { return true; });
    /// The place of that picture in the track's sample index, without decoding; absent for an empty track.
    [[nodiscard]] std::optional<std::size_t> frameIndex(const CMTime& time) const;

    [[nodiscard]] const MediaTrack& track() const { return track_; }

private:
    class Decoder;
    struct CachedFrame {
        std::size_t index;
        VideoFrame picture;
        std::size_t bytes;
    };

    [[nodiscard]] std::optional<VideoFrame> cached(std::size_t index);
    void remember(std::size_t index, const VideoFrame& picture);
    [[nodiscard]] std::optional<VideoFrame> decode(std::size_t index, const std::function<bool()>& isWanted);
    [[nodiscard]] std::size_t keyFrameIndex(std::size_t index) const;

    std::shared_ptr<const MediaAsset> asset_;
    MediaTrack track_;
    std::size_t cacheBytes_;
    std::unique_ptr<Decoder> decoder_;
    std::optional<std::size_t> lastIndex_;  ///< asked for last
    std::optional<VideoFrame> lastFrame_;
    std::list<CachedFrame> cache_;  ///< used last comes first
    std::unordered_map<std::size_t, std::list<CachedFrame>::iterator> cacheIndex_;
    std::size_t cachedBytes_ = 0;
};

}  // namespace varnelle
