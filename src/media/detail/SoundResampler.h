#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/URL.h"
#include "media/detail/FFmpegPtr.h"

namespace varnelle::detail {

/// Brings a run of decoded sound to the form of the mix. Any rate, any sample format; one channel goes to
/// both sides at its level, more than two are mixed down as ITU-R BS.775 says. Channels of which nobody says
/// where they stand go to the left and the right in turn, so that each side has their mean. Sample n of the
/// source lands exactly at n / rate. For one thread at a time.
class SoundResampler {
public:
    /// For frames like this one; `position` is the place of the first sample in the source, in samples of its
    /// own rate. Throws `MediaError` (`cannotDecode`), which names the file, for a form that can't be mixed.
    SoundResampler(const AVFrame& frame, std::int64_t position, const URL& file);

    /// Whether a frame has the same form as the first one.
    [[nodiscard]] bool fits(const AVFrame& frame) const;
    /// Takes a frame without its first `skip` samples; appends what comes out.
    void process(const AVFrame& frame, int skip, std::vector<float>& output);
    /// Appends the rest, a few samples.
    void flush(std::vector<float>& output);

    /// Place of the first sample that comes out, on the grid of the mix.
    [[nodiscard]] std::int64_t outputPosition() const { return outputPosition_; }

private:
    int setUp(AVChannelLayout& layout, const std::vector<double>* matrix);
    void check(int result) const;
    void convert(const std::uint8_t** input, int count, std::vector<float>& output);

    std::string file_;
    SwrContextPtr context_;
    AVSampleFormat format_;
    int rate_;
    int channels_;
    std::int64_t outputPosition_;
};

}  // namespace varnelle::detail
