#include "media/detail/EncoderChoice.h"

#include <fmt/format.h>

#include <mutex>
#include <set>
#include <string>

#include "foundation/Error.h"
#include "foundation/Log.h"
#include "media/detail/EncoderTrial.h"
#include "media/detail/HardwareProbe.h"

namespace varnelle::detail {
namespace {

/// Capture needs the processor for more than encoding: a trial has to run this much faster than the clock.
constexpr double kTrialHeadroom = 1.25;

void logOnce(const VideoSettings& settings, const std::string& name, const std::string& reason) {
    static std::mutex mutex;
    static std::set<std::string> said;
    const bool isLive = settings.purpose == EncodingPurpose::liveCapture;
    const std::string line =
        fmt::format("Encoding {} of {} by {} at {} frames a second with {}{}.", isLive ? "capture" : "export",
                    settings.width, settings.height, settings.expectedSourceFrameRate, name, reason);
    const std::lock_guard lock(mutex);
    if (said.insert(line).second) logger(isLive ? LogCategory::capture : LogCategory::app).info(line);
}

}  // namespace

std::unique_ptr<VideoEncoder> openBestEncoder(const VideoSettings& settings) {
    requireSupportedSize(settings);
    if (settings.codec == VideoCodec::h264) {
        auto encoder = std::make_unique<VideoEncoder>("libx264", settings);
        logOnce(settings, encoder->name(), "");
        return encoder;
    }
    for (const std::string& name : provenHardwareEncoders()) {
        try {
            auto encoder = std::make_unique<VideoEncoder>(name, settings);
            logOnce(settings, name, "");
            return encoder;
        } catch (const Error& error) {
            logger(LogCategory::app).warn("{} The next encoder is used.", error.what());
        }
    }
    if (settings.purpose == EncodingPurpose::liveCapture) {
        const double sufficient = settings.expectedSourceFrameRate * kTrialHeadroom;
        const double rate = framesPerSecondOfLiveHEVC(settings, sufficient);
        if (rate < sufficient) {
            VideoSettings fallback = settings;
            fallback.codec = VideoCodec::h264;
            auto encoder = std::make_unique<VideoEncoder>("libx264", fallback);
            logOnce(settings, encoder->name(), fmt::format(": libx265 reaches {:.0f}", rate));
            return encoder;
        }
    }
    auto encoder = std::make_unique<VideoEncoder>("libx265", settings);
    logOnce(settings, encoder->name(), "");
    return encoder;
}

}  // namespace varnelle::detail
