#pragma once

#include <optional>
#include <vector>

#include "foundation/URL.h"
#include "media/AssetWriter.h"
#include "media/detail/FFmpegPtr.h"
#include "media/detail/VideoEncoder.h"

namespace varnelle::detail {

/// A track as a container needs to know it.
struct TrackDescription {
    CodecParametersPtr parameters;
    AVRational timeBase{1, 1};
    MediaType mediaType = MediaType::video;
};

enum class MovieLayout {
    indexAtEnd,
    indexInFront,
    fragments,  ///< readable at any moment up to the last `flushFragment`
};

/// A QuickTime or MPEG-4 file that is being written. Every failure is a `MediaError` (`cannotWrite`) with a
/// sentence that names `shownName`, since the file itself may be a hidden one. For one thread at a time.
class MovieFile {
public:
    MovieFile(const URL& file, std::string shownName, FileType type, MovieLayout layout,
              const std::vector<TrackDescription>& tracks);
    ~MovieFile();
    MovieFile(const MovieFile&) = delete;
    MovieFile& operator=(const MovieFile&) = delete;

    /// Takes the packet's contents; its times are in ticks of the track's time base.
    void write(std::size_t track, AVPacket& packet);
    /// Ends the fragment begun last and hands it to the system.
    void flushFragment();
    /// Completes the file. The last picture of each video track lasts until `end` if that is given and later.
    void close(const std::optional<CMTime>& end);

private:
    struct Track {
        AVRational timeBase;
        MediaType mediaType;
        PacketPtr held;  ///< a video track's newest packet, whose duration isn't known yet
        std::int64_t lastPresentation = AV_NOPTS_VALUE;
        std::int64_t firstDecode = 0;
        bool hasStarted = false;
    };

    void hand(std::size_t track, AVPacket& packet);
    void check(int result);

    std::string shownName_;
    MovieLayout layout_;
    AVFormatContext* context_ = nullptr;
    std::vector<Track> tracks_;
};

}  // namespace varnelle::detail
