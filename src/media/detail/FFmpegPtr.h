#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string>

#include "foundation/CMTime.h"

namespace varnelle::detail {

struct FFmpegDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
    void operator()(SwsContext* context) const { sws_freeContext(context); }
    void operator()(SwrContext* context) const { swr_free(&context); }
    void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
};

using FramePtr = std::unique_ptr<AVFrame, FFmpegDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, FFmpegDeleter>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, FFmpegDeleter>;
using CodecParametersPtr = std::unique_ptr<AVCodecParameters, FFmpegDeleter>;
using SwsContextPtr = std::unique_ptr<SwsContext, FFmpegDeleter>;
using SwrContextPtr = std::unique_ptr<SwrContext, FFmpegDeleter>;
using BufferPtr = std::unique_ptr<AVBufferRef, FFmpegDeleter>;

/// An input context that was opened; its reader (`pb`) is somebody else's if it was set by hand.
struct InputCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
using InputPtr = std::unique_ptr<AVFormatContext, InputCloser>;

FramePtr newFrame();
PacketPtr newPacket();

/// The library's text for a negative return value.
std::string errorText(int code);

/// Keeps the libraries from writing to standard error: what matters comes back as an error.
void silenceLibraries();

/// A time in ticks of `base`.
CMTime timeFromTicks(std::int64_t ticks, AVRational base);
/// The nearest tick of `base`.
std::int64_t ticksFromTime(const CMTime& time, AVRational base);

}  // namespace varnelle::detail
