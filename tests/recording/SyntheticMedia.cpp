#include "recording/SyntheticMedia.h"

#include <cmath>

#include "foundation/HostClock.h"

namespace varnelle::test {

CMTime hostSeconds(double seconds) {
    return hostTimeFromNanoseconds(std::llround(seconds * 1e9));
}

SampleBuffer cameraSample(CMTime hostTime, std::uint32_t color, int widthPixels, int heightPixels) {
    VideoFrame frame =
        VideoFrame::allocate(PixelFormat::bgra, widthPixels, heightPixels, ColorDescription::sRGB());
    for (int y = 0; y < heightPixels; ++y) {
        std::uint8_t* row = frame.plane(0).data + y * frame.plane(0).bytesPerRow;
        for (int x = 0; x < widthPixels; ++x) {
            row[x * 4] = static_cast<std::uint8_t>(color);
            row[x * 4 + 1] = static_cast<std::uint8_t>(color >> 8);
            row[x * 4 + 2] = static_cast<std::uint8_t>(color >> 16);
            row[x * 4 + 3] = 255;
        }
    }
    SampleBuffer sample;
    sample.data = frame;
    sample.presentationTime = hostTime;
    return sample;
}

SampleBuffer screenSample(CMTime hostTime, std::uint32_t color, int widthPixels, int heightPixels) {
    SampleBuffer sample = cameraSample(hostTime, color, widthPixels, heightPixels);
    sample.attachments.displayTime = hostTime;
    sample.attachments.status = FrameStatus::complete;
    return sample;
}

SampleBuffer soundSample(CMTime hostTime, int channelCount) {
    constexpr int sampleRate = 48000;
    constexpr int frameCount = 960;
    auto samples = std::make_shared<std::vector<float>>();
    for (int i = 0; i < frameCount; ++i) {
        const float value = 0.25F * std::sin(static_cast<float>(i) * 440.0F * 6.2831853F / sampleRate);
        samples->insert(samples->end(), static_cast<std::size_t>(channelCount), value);
    }
    SampleBuffer sample;
    sample.data = PCMBlock{sampleRate, channelCount, samples};
    sample.presentationTime = hostTime;
    sample.duration = CMTime::make(frameCount, sampleRate);
    return sample;
}

}  // namespace varnelle::test
