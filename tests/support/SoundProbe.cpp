#include "support/SoundProbe.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <cmath>
#include <memory>
#include <stdexcept>

namespace varnelle::test {
namespace {

void check(int result, const char* what) {
    if (result < 0) throw std::runtime_error(what);
}

}  // namespace

std::vector<float> decodeSound(const URL& movie, int soundTrack) {
    AVFormatContext* opened = nullptr;
    check(avformat_open_input(&opened, movie.string().c_str(), nullptr, nullptr), "open");
    const auto closeInput = [](AVFormatContext* context) { avformat_close_input(&context); };
    const std::unique_ptr<AVFormatContext, decltype(closeInput)> input(opened, closeInput);
    AVStream* stream = nullptr;
    for (unsigned i = 0; i < input->nb_streams && stream == nullptr; ++i) {
        const bool isSound = input->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
        if (isSound && soundTrack-- == 0) stream = input->streams[i];
    }
    if (stream == nullptr) throw std::runtime_error("no such sound track");
    const auto freeContext = [](AVCodecContext* context) { avcodec_free_context(&context); };
    const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    const std::unique_ptr<AVCodecContext, decltype(freeContext)> decoder(avcodec_alloc_context3(codec),
                                                                         freeContext);
    check(avcodec_parameters_to_context(decoder.get(), stream->codecpar), "parameters");
    decoder->pkt_timebase = stream->time_base;
    check(avcodec_open2(decoder.get(), codec, nullptr), "decoder");

    const auto freePacket = [](AVPacket* packet) { av_packet_free(&packet); };
    const auto freeFrame = [](AVFrame* frame) { av_frame_free(&frame); };
    const std::unique_ptr<AVPacket, decltype(freePacket)> packet(av_packet_alloc(), freePacket);
    const std::unique_ptr<AVFrame, decltype(freeFrame)> frame(av_frame_alloc(), freeFrame);
    std::vector<float> sound;
    const auto receive = [&] {
        while (avcodec_receive_frame(decoder.get(), frame.get()) >= 0) {
            const std::int64_t start =
                av_rescale_q(frame->pts, stream->time_base, AVRational{1, frame->sample_rate});
            const auto* samples = reinterpret_cast<const float*>(frame->extended_data[0]);
            for (int i = 0; i < frame->nb_samples; ++i) {
                if (start + i < 0) continue;
                const auto at = static_cast<std::size_t>(start + i);
                if (sound.size() <= at) sound.resize(at + 1, 0.0F);
                sound[at] = samples[i];
            }
        }
    };
    while (av_read_frame(input.get(), packet.get()) >= 0) {
        if (packet->stream_index == stream->index)
            check(avcodec_send_packet(decoder.get(), packet.get()), "decode");
        av_packet_unref(packet.get());
        receive();
    }
    avcodec_send_packet(decoder.get(), nullptr);
    receive();
    return sound;
}

std::vector<std::size_t> findClicks(const std::vector<float>& sound, float threshold) {
    constexpr std::size_t apart = 480;
    std::vector<std::size_t> clicks;
    for (std::size_t i = 0; i < sound.size(); ++i) {
        if (std::abs(sound[i]) < threshold) continue;
        if (clicks.empty() || i - clicks.back() > apart) {
            clicks.push_back(i);
        } else if (std::abs(sound[i]) > std::abs(sound[clicks.back()])) {
            clicks.back() = i;
        }
    }
    return clicks;
}

}  // namespace varnelle::test
