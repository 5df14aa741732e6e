#include "media/EncoderProbe.h"

#include <algorithm>

#include "foundation/Error.h"
#include "media/detail/FrameConverter.h"
#include "media/detail/VideoEncoder.h"

namespace varnelle {
namespace {

constexpr int kProbeFrames = 8;

VideoFrame greyPicture(const VideoSettings& settings, int level) {
    VideoFrame frame =
        VideoFrame::allocate(PixelFormat::i420, settings.width, settings.height, settings.color);
    for (std::size_t i = 0; i < 3; ++i) {
        const int rows = i == 0 ? settings.height : (settings.height + 1) / 2;
        std::fill_n(frame.plane(i).data, frame.plane(i).bytesPerRow * rows,
                    static_cast<std::uint8_t>(i == 0 ? level : 128));
    }
    return frame;
}

}  // namespace

bool encoderWorks(const std::string& encoderName) {
    VideoSettings settings;
    settings.purpose = EncodingPurpose::liveCapture;
    settings.width = 640;
    settings.height = 480;
    settings.averageBitRate = 2'000'000;
    try {
        detail::VideoEncoder encoder(encoderName, settings);
        int packets = 0;
        const detail::PacketHandler count = [&packets](AVPacket& packet) {
            packets += packet.size > 0 ? 1 : 0;
        };
        for (int i = 0; i < kProbeFrames; ++i) {
            const detail::FramePtr frame = detail::wrap(greyPicture(settings, 40 + 10 * i));
            encoder.encode(*frame, std::int64_t{i} * detail::kVideoTimeBase.den / 60, count);
        }
        encoder.finish(count);
        return packets == kProbeFrames;
    } catch (const Error&) {
        return false;
    }
}

}  // namespace varnelle
