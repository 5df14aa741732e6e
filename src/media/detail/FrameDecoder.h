#pragma once

#include <optional>

#include "foundation/URL.h"
#include "media/MediaAsset.h"
#include "media/VideoFrame.h"
#include "media/detail/StreamDecoder.h"

namespace varnelle::detail {

struct DecodedFrame {
    CMTime presentationTime;
    VideoFrame picture;
};

/// Decodes one video track of a file in presentation order, on the library's own threads. A packet that can't
/// be decoded is skipped, which is logged once. For one thread at a time.
class FrameDecoder {
public:
    /// Throws `MediaError` (`cannotOpen`, `cannotDecode`).
    FrameDecoder(const URL& url, const MediaTrack& track);

    /// Goes to a key frame at or before the time.
    void seek(const CMTime& time) { decoder_.seek(time); }
    /// The next frame; absent at the end of the track.
    [[nodiscard]] std::optional<DecodedFrame> next();

private:
    [[nodiscard]] VideoFrame picture(FramePtr frame);

    StreamDecoder decoder_;
    SwsContextPtr converter_;
};

}  // namespace varnelle::detail
