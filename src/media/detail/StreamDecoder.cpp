#include "media/detail/StreamDecoder.h"

#include <fmt/format.h>

#include <utility>

#include "foundation/Log.h"
#include "media/MediaError.h"
#include "media/detail/MovieIndexInput.h"

namespace varnelle::detail {

StreamDecoder::StreamDecoder(const URL& url, int streamIndex, StreamWords words, unsigned threadCount)
    : url_(url), words_(words), packet_(newPacket()) {
    silenceLibraries();
    AVFormatContext* context = nullptr;
    if (const int result = avformat_open_input(&context, url.string().c_str(), nullptr, nullptr);
        result < 0) {
        throwCannotOpen(url, errorText(result));
    }
    input_.reset(context);
    open(streamIndex, threadCount);
}

void StreamDecoder::throwCannotDecode(const std::string& reason) const {
    throw MediaError(MediaError::Code::cannotDecode,
                     fmt::format("{} of “{}” can't be decoded: {}.", words_.whole, url_.string(), reason));
}

void StreamDecoder::open(int streamIndex, unsigned threadCount) {
    if (streamIndex < 0 || static_cast<unsigned>(streamIndex) >= input_->nb_streams) {
        throwCannotDecode("the file has changed");
    }
    for (unsigned i = 0; i < input_->nb_streams; ++i) {
        input_->streams[i]->discard = static_cast<int>(i) == streamIndex ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    stream_ = input_->streams[streamIndex];
    const AVCodec* codec = avcodec_find_decoder(stream_->codecpar->codec_id);
    if (codec == nullptr) throwCannotDecode("its codec isn't supported");
    context_.reset(avcodec_alloc_context3(codec));
    if (!context_ || avcodec_parameters_to_context(context_.get(), stream_->codecpar) < 0)
        throw std::bad_alloc();
    context_->thread_count = static_cast<int>(threadCount);
    context_->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    context_->pkt_timebase = stream_->time_base;
    if (const int result = avcodec_open2(context_.get(), codec, nullptr); result < 0) {
        throwCannotDecode(errorText(result));
    }
}

void StreamDecoder::seek(const CMTime& time) {
    avcodec_flush_buffers(context_.get());
    isDraining_ = false;
    const std::int64_t ticks = ticksFromTime(time, stream_->time_base);
    if (av_seek_frame(input_.get(), stream_->index, ticks, AVSEEK_FLAG_BACKWARD) >= 0) return;
    // Before the first index entry, or a file without an index.
    const int result = avformat_seek_file(input_.get(), stream_->index, INT64_MIN, INT64_MIN, ticks, 0);
    if (result < 0) throwCannotDecode(errorText(result));
}

FramePtr StreamDecoder::next() {
    FramePtr frame = newFrame();
    while (true) {
        const int result = avcodec_receive_frame(context_.get(), frame.get());
        if (result == AVERROR_EOF) return nullptr;
        if (result == AVERROR(EAGAIN)) {
            if (!feed()) return nullptr;
            continue;
        }
        if (result < 0) {
            if (isDraining_ && result != AVERROR_INVALIDDATA) return nullptr;
            skipDamage(words_.piece);
            continue;
        }
        if (frame->decode_error_flags != 0 || (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0) {
            skipDamage(words_.piece);
            av_frame_unref(frame.get());
            continue;
        }
        if (frame->pts == AV_NOPTS_VALUE) frame->pts = frame->best_effort_timestamp;
        if (frame->pts != AV_NOPTS_VALUE) return frame;
        av_frame_unref(frame.get());
    }
}

bool StreamDecoder::feed() {
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
        skipDamage(words_.piece);
    }
    return false;
}

void StreamDecoder::skipDamage(const char* what) {
    if (std::exchange(hasLoggedDamage_, true)) return;
    logger(LogCategory::app).warn("Skipped {} of “{}”: it is damaged.", what, url_.string());
}

}  // namespace varnelle::detail
