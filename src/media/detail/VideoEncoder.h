#pragma once

#include <functional>
#include <string>

#include "media/AssetWriter.h"
#include "media/detail/FFmpegPtr.h"

namespace varnelle::detail {

/// Receives an encoded packet; it may take its contents.
using PacketHandler = std::function<void(AVPacket&)>;

/// Ticks of a written video track. Whole for 24, 25, 30, 48, 50, 60 and 120 frames a second, for those
/// divided by 1.001, and for times of a timescale of 600.
inline constexpr AVRational kVideoTimeBase{1, 120'000};

/// One video encoder of the library: frames in, packets out. Key frames come at least every half second of
/// time, in live capture every quarter: that is how much a seek decodes at most. For one thread at a time.
class VideoEncoder {
public:
    /// `encoderName` is the library's, such as "libx265". Throws `MediaError` (`cannotEncode`).
    VideoEncoder(const std::string& encoderName, const VideoSettings& settings);

    /// `frame` is I420 of the size of the settings; its time is set here, in ticks of `kVideoTimeBase`.
    void encode(AVFrame& frame, std::int64_t presentationTicks, const PacketHandler& onPacket);
    /// Hands on what is still inside.
    void finish(const PacketHandler& onPacket);

    [[nodiscard]] const AVCodecContext& context() const { return *context_; }
    [[nodiscard]] const std::string& name() const { return name_; }

private:
    void prepareHardwareFrames(const VideoSettings& settings);
    FramePtr uploaded(const AVFrame& frame);
    void send(const AVFrame* frame, const PacketHandler& onPacket);

    std::string name_;
    CodecContextPtr context_;
    BufferPtr device_;
    PacketPtr packet_;
    std::int64_t frameTicks_;
    std::int64_t keyFrameIntervalTicks_;
    std::int64_t lastKeyFrame_ = AV_NOPTS_VALUE;
    int frameCount_ = 0;
    bool isFinishing_ = false;
};

/// Throws `MediaError` (`unsupportedSize`) unless the software encoder of the codec takes this size.
void requireSupportedSize(const VideoSettings& settings);

}  // namespace varnelle::detail
