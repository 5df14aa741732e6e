#include "media/detail/AudioEncoder.h"

#include <fmt/format.h>

#include <algorithm>

#include "media/MediaError.h"
#include "media/detail/ChannelLevels.h"

namespace varnelle::detail {
namespace {

/// A gap from this length on is heard as one.
constexpr int kGapsPerSecond = 50;

[[noreturn]] void throwCannotEncode(const std::string& why) {
    throw MediaError(MediaError::Code::cannotEncode, fmt::format("The sound encoder failed: {}.", why));
}

}  // namespace

AudioEncoder::AudioEncoder(const AudioSettings& settings) : packet_(newPacket()) {
    silenceLibraries();
    const AVCodec* codec = avcodec_find_encoder_by_name("aac");
    if (codec == nullptr) throwCannotEncode("AAC isn't part of the installed libraries");
    context_.reset(avcodec_alloc_context3(codec));
    if (!context_) throw std::bad_alloc();
    context_->sample_rate = settings.sampleRate;
    context_->sample_fmt = AV_SAMPLE_FMT_FLTP;
    context_->bit_rate = settings.bitRate;
    context_->time_base = {1, settings.sampleRate};
    context_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_channel_layout_default(&context_->ch_layout, settings.channelCount);
    if (const int result = avcodec_open2(context_.get(), codec, nullptr); result < 0) {
        throwCannotEncode(errorText(result));
    }
    pending_.resize(static_cast<std::size_t>(settings.channelCount));
}

void AudioEncoder::encode(const PCMBlock& block, const CMTime& start, const PacketHandler& onPacket) {
    configureResampler(block);
    const std::int64_t begin = ticksFromTime(start, context_->time_base);
    const std::int64_t delay = resampler_ ? swr_get_delay(resampler_.get(), context_->sample_rate) : 0;
    if (nextFrameTime_ == AV_NOPTS_VALUE) nextFrameTime_ = begin;
    const std::int64_t expected = nextFrameTime_ + static_cast<std::int64_t>(pending_.front().size()) + delay;
    const std::int64_t gap = begin - expected;
    const std::int64_t tolerated = context_->sample_rate / kGapsPerSecond;
    std::size_t skipped = 0;
    if (gap >= tolerated) {
        fillGap(gap, onPacket);
    } else if (gap <= -tolerated) {
        skipped = static_cast<std::size_t>(av_rescale(-gap, block.sampleRate, context_->sample_rate));
    }
    if (skipped < block.frameCount()) {
        append(block.samples->data() + skipped * static_cast<std::size_t>(block.channelCount),
               block.frameCount() - skipped);
    }
    sendWholeFrames(onPacket);
}

void AudioEncoder::configureResampler(const PCMBlock& block) {
    if (block.sampleRate == inputRate_ && block.channelCount == inputChannels_) return;
    inputRate_ = block.sampleRate;
    inputChannels_ = block.channelCount;
    resampler_.reset();
    if (block.sampleRate == context_->sample_rate && block.channelCount == context_->ch_layout.nb_channels)
        return;
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, block.channelCount);
    SwrContext* resampler = nullptr;
    int result =
        swr_alloc_set_opts2(&resampler, &context_->ch_layout, AV_SAMPLE_FMT_FLTP, context_->sample_rate,
                            &layout, AV_SAMPLE_FMT_FLT, block.sampleRate, 0, nullptr);
    resampler_.reset(resampler);
    if (result >= 0) result = keepLevels(resampler, block.channelCount, context_->ch_layout.nb_channels);
    if (result >= 0) result = swr_init(resampler);
    if (result < 0) throwCannotEncode(errorText(result));
}

void AudioEncoder::append(const float* samples, std::size_t frameCount) {
    const std::size_t channels = pending_.size();
    const std::size_t before = pending_.front().size();
    if (!resampler_) {
        for (std::size_t c = 0; c < channels; ++c) {
            pending_[c].resize(before + frameCount);
            for (std::size_t i = 0; i < frameCount; ++i) pending_[c][before + i] = samples[i * channels + c];
        }
        return;
    }
    const int room = swr_get_out_samples(resampler_.get(), static_cast<int>(frameCount));
    std::vector<std::uint8_t*> outputs;
    for (std::vector<float>& channel : pending_) {
        channel.resize(before + static_cast<std::size_t>(std::max(0, room)));
        outputs.push_back(reinterpret_cast<std::uint8_t*>(channel.data() + before));
    }
    const auto* input = reinterpret_cast<const std::uint8_t*>(samples);
    const int written = swr_convert(resampler_.get(), outputs.data(), room,
                                    samples != nullptr ? &input : nullptr, static_cast<int>(frameCount));
    if (written < 0) throwCannotEncode(errorText(written));
    for (std::vector<float>& channel : pending_) channel.resize(before + static_cast<std::size_t>(written));
}

void AudioEncoder::fillGap(std::int64_t frameCount, const PacketHandler& onPacket) {
    // A resampler's tail belongs in front of the silence.
    if (resampler_) {
        const std::size_t before = pending_.front().size();
        const std::int64_t expected = swr_get_delay(resampler_.get(), context_->sample_rate);
        append(nullptr, 0);
        frameCount += expected - static_cast<std::int64_t>(pending_.front().size() - before);
        swr_init(resampler_.get());
    }
    // A second at a time: a source may have been away for an hour.
    while (frameCount > 0) {
        const std::int64_t step = std::min<std::int64_t>(frameCount, context_->sample_rate);
        for (std::vector<float>& channel : pending_) {
            channel.resize(channel.size() + static_cast<std::size_t>(step), 0.0F);
        }
        sendWholeFrames(onPacket);
        frameCount -= step;
    }
}

void AudioEncoder::sendWholeFrames(const PacketHandler& onPacket) {
    const auto frameSize = static_cast<std::size_t>(context_->frame_size);
    std::size_t sent = 0;
    for (; pending_.front().size() - sent >= frameSize; sent += frameSize)
        sendFrame(sent, frameSize, onPacket);
    for (std::vector<float>& channel : pending_) {
        channel.erase(channel.begin(), channel.begin() + static_cast<std::ptrdiff_t>(sent));
    }
}

void AudioEncoder::sendFrame(std::size_t begin, std::size_t count, const PacketHandler& onPacket) {
    FramePtr frame = newFrame();
    frame->format = AV_SAMPLE_FMT_FLTP;
    frame->nb_samples = static_cast<int>(count);
    frame->sample_rate = context_->sample_rate;
    av_channel_layout_copy(&frame->ch_layout, &context_->ch_layout);
    if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
    for (std::size_t c = 0; c < pending_.size(); ++c) {
        std::copy_n(pending_[c].data() + begin, count, reinterpret_cast<float*>(frame->extended_data[c]));
    }
    frame->pts = nextFrameTime_;
    nextFrameTime_ += frame->nb_samples;
    send(frame.get(), onPacket);
}

void AudioEncoder::finish(const PacketHandler& onPacket) {
    if (nextFrameTime_ != AV_NOPTS_VALUE) {
        if (resampler_) append(nullptr, 0);
        sendWholeFrames(onPacket);
        // A short frame, which the encoder fills up, but whose packet says how long the sound really is.
        if (!pending_.front().empty()) sendFrame(0, pending_.front().size(), onPacket);
    }
    send(nullptr, onPacket);
}

void AudioEncoder::send(const AVFrame* frame, const PacketHandler& onPacket) {
    int result = avcodec_send_frame(context_.get(), frame);
    if (result < 0) throwCannotEncode(errorText(result));
    while (true) {
        result = avcodec_receive_packet(context_.get(), packet_.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
        if (result < 0) throwCannotEncode(errorText(result));
        onPacket(*packet_);
        av_packet_unref(packet_.get());
    }
}

}  // namespace varnelle::detail
