#pragma once

#include <optional>

#include "foundation/URL.h"
#include "media/MediaAsset.h"
#include "media/VideoFrame.h"
#include "media/detail/FFmpegPtr.h"

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
    void seek(const CMTime& time);
    /// The next frame; absent at the end of the track.
    [[nodiscard]] std::optional<DecodedFrame> next();

private:
    void open(const MediaTrack& track);
    [[nodiscard]] bool feed();
    [[nodiscard]] VideoFrame picture(FramePtr frame);
    void skipDamage(const char* what);

    URL url_;
    InputPtr input_;
    AVStream* stream_ = nullptr;
    CodecContextPtr context_;
    PacketPtr packet_;
    bool isDraining_ = false;
    bool hasLoggedDamage_ = false;
    SwsContextPtr converter_;
};

}  // namespace varnelle::detail
