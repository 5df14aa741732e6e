#include "media/detail/FrameDecoder.h"

#include <algorithm>
#include <array>
#include <thread>
#include <utility>

#include "media/detail/FrameConverter.h"

namespace varnelle::detail {
namespace {

/// More threads than this only hold more frames back.
constexpr unsigned kMostThreads = 8;

/// The decoder's own planes as a frame: no copy, and the decoder gets them back when the last copy goes.
VideoFrame wrapDecoded(FramePtr frame, PixelFormat format) {
    const ColorDescription color = colorDescription(*frame);
    const int width = frame->width;
    const int height = frame->height;
    std::array<Plane, 3> planes{};
    const std::size_t count = format == PixelFormat::nv12 ? 2 : 3;
    for (std::size_t i = 0; i < count; ++i) planes[i] = {frame->data[i], frame->linesize[i]};
    std::shared_ptr<AVFrame> owner(frame.release(), FFmpegDeleter{});
    return {format, width, height, planes, color, std::move(owner)};
}

}  // namespace

FrameDecoder::FrameDecoder(const URL& url, const MediaTrack& track)
    : decoder_(url, track.streamIndex, {"The picture", "a picture"},
               std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads)) {}

std::optional<DecodedFrame> FrameDecoder::next() {
    FramePtr frame = decoder_.next();
    if (!frame) return std::nullopt;
    const CMTime time = timeFromTicks(frame->pts, decoder_.timeBase());
    return DecodedFrame{time, picture(std::move(frame))};
}

VideoFrame FrameDecoder::picture(FramePtr frame) {
    const int format = frame->format;
    if (format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUVJ420P) {
        return wrapDecoded(std::move(frame), PixelFormat::i420);
    }
    if (format == AV_PIX_FMT_NV12) return wrapDecoded(std::move(frame), PixelFormat::nv12);
    VideoFrame result =
        VideoFrame::allocate(PixelFormat::i420, frame->width, frame->height, colorDescription(*frame));
    converter_.reset(sws_getCachedContext(
        converter_.release(), frame->width, frame->height, static_cast<AVPixelFormat>(format), frame->width,
        frame->height, AV_PIX_FMT_YUV420P, SWS_BILINEAR | SWS_ACCURATE_RND, nullptr, nullptr, nullptr));
    if (!converter_) decoder_.throwCannotDecode("its pixel format isn't supported");
    const int isFull = result.color().range == ColorDescription::Range::full ? 1 : 0;
    const int* coefficients = sws_getCoefficients(
        result.color().matrix == ColorDescription::Matrix::bt709 ? SWS_CS_ITU709 : SWS_CS_ITU601);
    sws_setColorspaceDetails(converter_.get(), coefficients, isFull, coefficients, isFull, 0, 1 << 16,
                             1 << 16);
    const FramePtr target = wrap(result);
    sws_scale(converter_.get(), frame->data, frame->linesize, 0, frame->height, target->data,
              target->linesize);
    return result;
}

}  // namespace varnelle::detail
