#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "foundation/CMTime.h"
#include "foundation/Geometry.h"
#include "foundation/URL.h"

namespace varnelle {

enum class MediaType { video, audio };

/// One frame's place in a movie, read from the container without decoding.
struct SampleIndexEntry {
    CMTime presentationTime;
    bool isKeyFrame = false;
};

/// A track of a movie. An immutable value.
struct MediaTrack {
    int streamIndex = 0;  ///< place of the stream in the container
    MediaType mediaType = MediaType::video;
    CGSize naturalSize;                    ///< pixels, before the preferred transform; zero for sound
    CGAffineTransform preferredTransform;  ///< how the picture is meant to be turned; y grows upwards
    /// Frames per second: the reciprocal of the median distance between neighbouring frames, which for a
    /// recording that holds a frame only where the picture changed is the rate of its lively parts. 0 if it
    /// can't be told.
    double nominalFrameRate = 0;
    CMTime duration;
    int channelCount = 0;  ///< sound only
    int sampleRate = 0;    ///< sound only
    /// Video only: every frame in ascending presentation time.
    std::shared_ptr<const std::vector<SampleIndexEntry>> sampleIndex;
};

/// A movie file, looked at once. Everything is read at construction; the object is immutable afterwards and
/// safe to share between threads. It keeps no file open.
class MediaAsset {
public:
    /// Throws `MediaError` (`cannotOpen`, `notAMovie`, `nothingRecorded`) with a sentence that names the
    /// file: for a missing, empty, truncated or non-media file, and for one whose sizes or times are absurd.
    explicit MediaAsset(const URL& url);

    [[nodiscard]] const URL& url() const { return url_; }
    /// The longest track's end.
    [[nodiscard]] CMTime duration() const { return duration_; }
    [[nodiscard]] const std::vector<MediaTrack>& tracks() const { return tracks_; }
    [[nodiscard]] std::vector<MediaTrack> tracks(MediaType type) const;

private:
    URL url_;
    CMTime duration_;
    std::vector<MediaTrack> tracks_;
};

}  // namespace varnelle
