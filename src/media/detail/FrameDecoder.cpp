#include "media/detail/FrameDecoder.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <thread>
#include <utility>

#include "foundation/Log.h"
#include "media/MediaError.h"
#include "media/detail/FrameConverter.h"
#include "media/detail/MovieIndexInput.h"

namespace varnelle::detail {
namespace {

/// More threads than this only hold more frames back.
constexpr unsigned kMostThreads = 8;

[[noreturn]] void throwCannotDecode(const URL& url, const std::string& reason) {
    throw MediaError(MediaError::Code::cannotDecode,
                     fmt::format("The picture of “{}” can't be decoded: {}.", url.string(), reason));
}

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

FrameDecoder::FrameDecoder(const URL& url, const MediaTrack& track) : url_(url), packet_(newPacket()) {
    silenceLibraries();
    AVFormatContext* context = nullptr;
    if (const int result = avformat_open_input(&context, url.string().c_str(), nullptr, nullptr);
        result < 0) {
        throwCannotOpen(url, errorText(result));
    }
    input_.reset(context);
    open(track);
}

void FrameDecoder::open(const MediaTrack& track) {
    if (track.streamIndex < 0 || static_cast<unsigned>(track.streamIndex) >= input_->nb_streams) {
        throwCannotDecode(url_, "the file has changed");
    }
    for (unsigned i = 0; i < input_->nb_streams; ++i) {
        input_->streams[i]->discard =
            static_cast<int>(i) == track.streamIndex ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    stream_ = input_->streams[track.streamIndex];
    const AVCodec* codec = avcodec_find_decoder(stream_->codecpar->codec_id);
    if (codec == nullptr) throwCannotDecode(url_, "its codec isn't supported");
    context_.reset(avcodec_alloc_context3(codec));
    if (!context_ || avcodec_parameters_to_context(context_.get(), stream_->codecpar) < 0)
        throw std::bad_alloc();
    context_->thread_count =
        static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads));
    context_->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    context_->pkt_timebase = stream_->time_base;
    if (const int result = avcodec_open2(context_.get(), codec, nullptr); result < 0) {
        throwCannotDecode(url_, errorText(result));
    }
}

void FrameDecoder::seek(const CMTime& time) {
    avcodec_flush_buffers(context_.get());
    isDraining_ = false;
    const std::int64_t ticks = ticksFromTime(time, stream_->time_base);
    if (av_seek_frame(input_.get(), stream_->index, ticks, AVSEEK_FLAG_BACKWARD) >= 0) return;
    // Before the first index entry, or a file without an index.
    const int result = avformat_seek_file(input_.get(), stream_->index, INT64_MIN, INT64_MIN, ticks, 0);
    if (result < 0) throwCannotDecode(url_, errorText(result));
}

std::optional<DecodedFrame> FrameDecoder::next() {
    FramePtr frame = newFrame();
    while (true) {
        const int result = avcodec_receive_frame(context_.get(), frame.get());
        if (result == AVERROR_EOF) return std::nullopt;
        if (result == AVERROR(EAGAIN)) {
            if (!feed()) return std::nullopt;
            continue;
        }
        if (result < 0) {
            if (isDraining_ && result != AVERROR_INVALIDDATA) return std::nullopt;
            skipDamage("a picture");
            continue;
        }
        if (frame->decode_error_flags != 0 || (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0) {
            skipDamage("a picture");
            av_frame_unref(frame.get());
            continue;
        }
        const std::int64_t ticks = frame->pts != AV_NOPTS_VALUE ? frame->pts : frame->best_effort_timestamp;
        if (ticks == AV_NOPTS_VALUE) continue;
        const CMTime time = timeFromTicks(ticks, stream_->time_base);
        return DecodedFrame{time, picture(std::move(frame))};
    }
}

bool FrameDecoder::feed() {
    while (!isDraining_) {
        const int result = av_read_frame(input_.get(), packet_.get());
        if (result < 0) {
            // The end, or as far as the file can be read.
            if (result != AVERROR_EOF) skipDamage("the rest");
            isDraining_ = true;
            return avcodec_send_packet(context_.get(), nullptr) >= 0;
        }
        if (packet_->stream_index != stream_->index) {
            av_packet_unref(packet_.get());
            continue;
        }
        const int sent = avcodec_send_packet(context_.get(), packet_.get());
        av_packet_unref(packet_.get());
        if (sent >= 0) return true;
        if (sent == AVERROR(ENOMEM)) throw std::bad_alloc();
        skipDamage("a picture");
    }
    return false;
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
    if (!converter_) throwCannotDecode(url_, "its pixel format isn't supported");
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

void FrameDecoder::skipDamage(const char* what) {
    if (std::exchange(hasLoggedDamage_, true)) return;
    logger(LogCategory::app).warn("Skipped {} of “{}”: it is damaged.", what, url_.string());
}

}  // namespace varnelle::detail
