#include "media/detail/SoundResampler.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "media/MediaError.h"
#include "media/detail/ChannelLevels.h"
#include "media/detail/MixFormat.h"

namespace varnelle::detail {
namespace {

/// 64 taps and 100 dB in the stop band: what a 15 kHz tone of 44,100 Hz leaves beside itself is then at
/// -115 dB, against -96 dB with the library's usual filter. Below 0.95 of the lower half rate nothing
/// changes.
void chooseFilter(SwrContext* context) {
    av_opt_set_int(context, "filter_size", 64, 0);
    av_opt_set_int(context, "filter_type", SWR_FILTER_TYPE_KAISER, 0);
    av_opt_set_double(context, "kaiser_beta", 10, 0);
    av_opt_set_double(context, "cutoff", 0.95, 0);
    // As many phases as the ratio needs, so that no output falls between two of them.
    av_opt_set_int(context, "exact_rational", 1, 0);
}

/// Left and right in turn, at their mean.
std::vector<double> turnsMatrix(int channels) {
    std::vector<double> matrix(static_cast<std::size_t>(channels) * kMixChannels);
    for (int channel = 0; channel < channels; ++channel) {
        const int side = channel % kMixChannels;
        const int onThatSide = (channels + kMixChannels - 1 - side) / kMixChannels;
        matrix[static_cast<std::size_t>(side * channels + channel)] = 1.0 / onThatSide;
    }
    return matrix;
}

}  // namespace

SoundResampler::SoundResampler(const AVFrame& frame, std::int64_t position, const URL& file)
    : file_(file.string()),
      format_(static_cast<AVSampleFormat>(frame.format)),
      rate_(frame.sample_rate),
      channels_(frame.ch_layout.nb_channels) {
    AVChannelLayout layout{};
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&layout, channels_);
    } else {
        check(av_channel_layout_copy(&layout, &frame.ch_layout));
    }
    int result = setUp(layout, nullptr);
    if (result < 0 && result != AVERROR(ENOMEM)) {
        const std::vector<double> matrix = turnsMatrix(channels_);
        result = setUp(layout, &matrix);
    }
    av_channel_layout_uninit(&layout);
    check(result);

    // The grids of source and mix meet every few samples. The output begins where they do, so that it lies
    // exactly on the grid; what is missing up to the first sample is silence.
    const int common = std::gcd(rate_, kMixRate);
    const std::int64_t period = rate_ / common;
    const std::int64_t missing = (position % period + period) % period;
    outputPosition_ = (position - missing) / period * (kMixRate / common);
    if (missing > 0) check(swr_inject_silence(context_.get(), static_cast<int>(missing)));
}

/// By the library's own matrix or the given one; returns what the library does.
int SoundResampler::setUp(AVChannelLayout& layout, const std::vector<double>* matrix) {
    AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    SwrContext* context = nullptr;
    int result = swr_alloc_set_opts2(&context, &stereo, AV_SAMPLE_FMT_FLT, kMixRate, &layout, format_, rate_,
                                     0, nullptr);
    context_.reset(context);
    if (result < 0) return result;
    chooseFilter(context);
    result = matrix != nullptr ? swr_set_matrix(context, matrix->data(), channels_)
                               : keepLevels(context, channels_, kMixChannels);
    return result < 0 ? result : swr_init(context);
}

void SoundResampler::check(int result) const {
    if (result >= 0) return;
    throw MediaError(
        MediaError::Code::cannotDecode,
        fmt::format("The sound of “{}” can't be brought to the mix: {}.", file_, errorText(result)));
}

bool SoundResampler::fits(const AVFrame& frame) const {
    return frame.format == format_ && frame.sample_rate == rate_ && frame.ch_layout.nb_channels == channels_;
}

void SoundResampler::process(const AVFrame& frame, int skip, std::vector<float>& output) {
    const bool isPlanar = av_sample_fmt_is_planar(format_) != 0;
    const int bytes = av_get_bytes_per_sample(format_) * (isPlanar ? 1 : channels_);
    std::vector<const std::uint8_t*> planes(isPlanar ? static_cast<std::size_t>(channels_) : 1);
    for (std::size_t i = 0; i < planes.size(); ++i)
        planes[i] = frame.extended_data[i] + static_cast<std::ptrdiff_t>(skip) * bytes;
    convert(planes.data(), frame.nb_samples - skip, output);
}

void SoundResampler::flush(std::vector<float>& output) {
    convert(nullptr, 0, output);
}

void SoundResampler::convert(const std::uint8_t** input, int count, std::vector<float>& output) {
    const int room = swr_get_out_samples(context_.get(), count);
    check(room);
    const std::size_t before = output.size();
    output.resize(before + static_cast<std::size_t>(room) * kMixChannels);
    auto* target = reinterpret_cast<std::uint8_t*>(output.data() + before);
    const int written = swr_convert(context_.get(), &target, room, input, count);
    output.resize(before + static_cast<std::size_t>(std::max(0, written)) * kMixChannels);
    check(written);
}

}  // namespace varnelle::detail
