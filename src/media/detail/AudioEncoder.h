#pragma once

#include <vector>

#include "media/AssetWriter.h"
#include "media/detail/FFmpegPtr.h"
#include "media/detail/VideoEncoder.h"

namespace varnelle::detail {

/// PCM blocks to AAC. Sound stays where its times say: a gap of 20 ms or more is filled with silence, an
/// overlap of that size is cut off, and what is smaller is jitter of the source and is ignored. For one
/// thread at a time.
class AudioEncoder {
public:
    /// Throws `MediaError` (`cannotEncode`).
    explicit AudioEncoder(const AudioSettings& settings);

    /// `start` counts from the start of the movie.
    void encode(const PCMBlock& block, const CMTime& start, const PacketHandler& onPacket);
    void finish(const PacketHandler& onPacket);

    [[nodiscard]] const AVCodecContext& context() const { return *context_; }

private:
    void configureResampler(const PCMBlock& block);
    void append(const float* samples, std::size_t frameCount);
    void fillGap(std::int64_t frameCount, const PacketHandler& onPacket);
    void sendWholeFrames(const PacketHandler& onPacket);
    void sendFrame(std::size_t begin, std::size_t count, const PacketHandler& onPacket);
    void send(const AVFrame* frame, const PacketHandler& onPacket);

    CodecContextPtr context_;
    SwrContextPtr resampler_;
    int inputRate_ = 0;
    int inputChannels_ = 0;
    PacketPtr packet_;
    std::vector<std::vector<float>> pending_;      // one per channel
    std::int64_t nextFrameTime_ = AV_NOPTS_VALUE;  // of pending_'s first sample, in samples
};

}  // namespace varnelle::detail
