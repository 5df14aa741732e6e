#include "support/SoundFixtures.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
}

#include <cmath>
#include <numbers>
#include <stdexcept>

namespace varnelle::test {
namespace {

constexpr double kTurn = 2 * std::numbers::pi;

void check(int result, const char* what) {
    if (result < 0) throw std::runtime_error(what);
}

/// A file with one sound track, whose packets may come from one encoder after another.
class SoundFile {
public:
    explicit SoundFile(const URL& url) {
        check(avformat_alloc_output_context2(&output_, nullptr, nullptr, url.string().c_str()), "container");
        check(avio_open(&output_->pb, url.string().c_str(), AVIO_FLAG_WRITE), "file");
    }
    ~SoundFile() {
        avio_closep(&output_->pb);
        avformat_free_context(output_);
    }
    SoundFile(const SoundFile&) = delete;
    SoundFile& operator=(const SoundFile&) = delete;

    [[nodiscard]] AVCodecContext& encoder() { return *encoder_; }

    void begin(const SoundFormat& format) {
        const AVCodec* codec = avcodec_find_encoder_by_name(format.codec.c_str());
        if (codec == nullptr) throw std::runtime_error("no encoder " + format.codec);
        encoder_.reset(avcodec_alloc_context3(codec));
        encoder_->sample_fmt = codec->sample_fmts[0];
        encoder_->sample_rate = format.rate;
        encoder_->time_base = {1, format.rate};
        av_channel_layout_default(&encoder_->ch_layout, format.channels);
        if ((output_->oformat->flags & AVFMT_GLOBALHEADER) != 0)
            encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        check(avcodec_open2(encoder_.get(), codec, nullptr), "encoder");
        if (output_->nb_streams > 0) return;
        AVStream* stream = avformat_new_stream(output_, nullptr);
        stream->time_base = encoder_->time_base;
        check(avcodec_parameters_from_context(stream->codecpar, encoder_.get()), "parameters");
        check(avformat_write_header(output_, nullptr), "header");
    }

    /// Null ends what the encoder holds.
    void encode(const AVFrame* frame) {
        check(avcodec_send_frame(encoder_.get(), frame), "encode");
        while (avcodec_receive_packet(encoder_.get(), packet_.get()) >= 0) {
            av_packet_rescale_ts(packet_.get(), encoder_->time_base, output_->streams[0]->time_base);
            check(av_interleaved_write_frame(output_, packet_.get()), "write");
        }
    }
    void finish() { check(av_write_trailer(output_), "trailer"); }

private:
    AVFormatContext* output_ = nullptr;
    std::unique_ptr<AVCodecContext, void (*)(AVCodecContext*)> encoder_{
        nullptr, [](AVCodecContext* c) { avcodec_free_context(&c); }};
    std::unique_ptr<AVPacket, void (*)(AVPacket*)> packet_{av_packet_alloc(),
                                                           [](AVPacket* p) { av_packet_free(&p); }};
};

using Frame = std::unique_ptr<AVFrame, void (*)(AVFrame*)>;

Frame makeFrame(const AVCodecContext& encoder, AVSampleFormat format, int count) {
    Frame frame(av_frame_alloc(), [](AVFrame* f) { av_frame_free(&f); });
    frame->format = format;
    frame->nb_samples = count;
    frame->sample_rate = encoder.sample_rate;
    av_channel_layout_copy(&frame->ch_layout, &encoder.ch_layout);
    check(av_frame_get_buffer(frame.get(), 0), "buffer");
    return frame;
}

}  // namespace

Waveform tone(double frequency, double amplitude) {
    return [=](double seconds, int) { return amplitude * std::sin(kTurn * frequency * seconds); };
}

float noise(std::int64_t sample, int channel, float amplitude) {
    auto bits = static_cast<std::uint64_t>(sample * 2 + channel) * 0x9E3779B97F4A7C15U;
    bits = (bits ^ (bits >> 29)) * 0xBF58476D1CE4E5B9U;
    return amplitude * (static_cast<float>((bits >> 40) & 0xFFFFU) / 32768.0F - 1);
}

void writeSound(const URL& url, const std::vector<SoundPart>& parts) {
    SoundFile file(url);
    for (const auto& [format, begin, end, waveform] : parts) {
        file.begin(format);
        AVCodecContext& encoder = file.encoder();
        SwrContext* converter = nullptr;
        check(swr_alloc_set_opts2(&converter, &encoder.ch_layout, encoder.sample_fmt, format.rate,
                                  &encoder.ch_layout, AV_SAMPLE_FMT_FLT, format.rate, 0, nullptr),
              "converter");
        const std::unique_ptr<SwrContext, void (*)(SwrContext*)> owner(converter,
                                                                       [](SwrContext* c) { swr_free(&c); });
        check(swr_init(converter), "converter");
        const auto last = static_cast<int>(std::lround(end * format.rate));
        const int step = encoder.frame_size > 0 ? encoder.frame_size : 1000;
        for (auto i = static_cast<int>(std::lround(begin * format.rate)); i < last; i += step) {
            const int count = std::min(step, last - i);
            const Frame plain = makeFrame(encoder, AV_SAMPLE_FMT_FLT, count);
            auto* samples = reinterpret_cast<float*>(plain->data[0]);
            for (int k = 0; k < count; ++k) {
                for (int c = 0; c < format.channels; ++c)
                    *samples++ = static_cast<float>(waveform(double(i + k) / format.rate, c));
            }
            const Frame frame = makeFrame(encoder, encoder.sample_fmt, count);
            check(swr_convert_frame(converter, frame.get(), plain.get()), "convert");
            frame->pts = i;
            file.encode(frame.get());
        }
        file.encode(nullptr);
    }
    file.finish();
}

void appendSound(AssetWriterInput& input, int rate, int channels, double fromSeconds, double toSeconds,
                 const Waveform& waveform) {
    const auto end = std::lround(toSeconds * rate);
    for (auto i = std::lround(fromSeconds * rate); i < end; i += rate / 100) {
        std::vector<float> samples;
        for (auto k = i; k < std::min<long>(end, i + rate / 100); ++k) {
            for (int c = 0; c < channels; ++c)
                samples.push_back(static_cast<float>(waveform(double(k) / rate, c)));
        }
        ASSERT_TRUE(
            appendWaiting(input, audioSample(rate, channels, std::move(samples), CMTime::make(i, rate))));
    }
}

std::vector<float> readAll(AudioMixReader& reader) {
    std::vector<float> sound;
    while (const auto block = reader.copyNextSampleBuffer()) {
        EXPECT_EQ(block->pcm()->sampleRate, 48'000);
        EXPECT_EQ(block->pcm()->channelCount, 2);
        EXPECT_EQ(block->presentationTime, CMTime::make(static_cast<std::int64_t>(sound.size() / 2), 48'000));
        const std::vector<float>& samples = *block->pcm()->samples;
        sound.insert(sound.end(), samples.begin(), samples.end());
    }
    return sound;
}

std::vector<float> mixed(const std::shared_ptr<const Composition>& composition, const AudioMix& mix) {
    AudioMixReader reader(composition, mix);
    EXPECT_TRUE(reader.startReading());
    std::vector<float> sound = readAll(reader);
    EXPECT_EQ(reader.status(), TransferStatus::completed) << errorText(reader.error());
    return sound;
}

std::vector<float> channelOf(const std::vector<float>& stereo, int channel) {
    std::vector<float> result;
    for (std::size_t i = static_cast<std::size_t>(channel); i < stereo.size(); i += 2)
        result.push_back(stereo[i]);
    return result;
}

ToneFit fitTone(const std::vector<float>& sound, std::size_t begin, std::size_t end, double frequency) {
    // Least squares over sine and cosine, which are all but orthogonal over many periods.
    double ss = 0, cc = 0, sc = 0, xs = 0, xc = 0, xx = 0;
    for (std::size_t i = begin; i < end; ++i) {
        const double angle = kTurn * frequency * static_cast<double>(i) / 48'000;
        const double s = std::sin(angle), c = std::cos(angle), x = sound.at(i);
        ss += s * s, cc += c * c, sc += s * c, xs += x * s, xc += x * c, xx += x * x;
    }
    const double determinant = ss * cc - sc * sc;
    const double a = (xs * cc - xc * sc) / determinant;
    const double b = (xc * ss - xs * sc) / determinant;
    const double explained = a * xs + b * xc;
    ToneFit fit;
    fit.amplitude = std::hypot(a, b);
    fit.delaySamples = -std::atan2(b, a) / (kTurn * frequency) * 48'000;
    fit.residueDecibels = 10 * std::log10(std::max(1e-20, (xx - explained) / explained));
    return fit;
}

ToneFit usualTone(const std::vector<float>& sound, std::size_t begin, std::size_t end, double frequency) {
    constexpr std::size_t kWindow = 6'000;
    std::vector<ToneFit> fits;
    for (; begin + kWindow <= end; begin += kWindow)
        fits.push_back(fitTone(sound, begin, begin + kWindow, frequency));
    std::sort(fits.begin(), fits.end(), [](const ToneFit& left, const ToneFit& right) {
        return left.residueDecibels < right.residueDecibels;
    });
    return fits.at(fits.size() / 2);
}

double quietestLoudness(const std::vector<float>& sound, std::size_t begin, std::size_t end) {
    constexpr std::size_t kWindow = 4'800;
    double quietest = 1;
    for (; begin + kWindow <= end; begin += kWindow) {
        double power = 0;
        for (std::size_t i = begin; i < begin + kWindow; ++i) power += double{sound.at(i)} * double{sound[i]};
        quietest = std::min(quietest, std::sqrt(power / kWindow));
    }
    return quietest;
}

int lagOf(const std::vector<float>& sound, std::size_t begin, const std::vector<float>& expected, int limit) {
    int best = 0;
    double most = -1;
    for (int lag = -limit; lag <= limit; ++lag) {
        double sum = 0;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const auto place = static_cast<std::int64_t>(begin + i) + lag;
            if (place < 0 || place >= static_cast<std::int64_t>(sound.size())) continue;
            sum += static_cast<double>(sound[static_cast<std::size_t>(place)]) * expected[i];
        }
        if (sum > most) {
            most = sum;
            best = lag;
        }
    }
    return best;
}

}  // namespace varnelle::test
