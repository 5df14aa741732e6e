#include "platform/CameraFormat.h"

#include <algorithm>
#include <tuple>

namespace varnelle {
namespace {

constexpr int kMaximumLongSide = 1920;
constexpr int kMaximumShortSide = 1080;
constexpr double kFluentFramesPerSecond = 24;
constexpr double kMaximumFramesPerSecond = 60;

/// Compares as "how good".
auto rank(const CameraFormat& format) {
    const int longSide = std::max(format.widthPixels, format.heightPixels);
    const int shortSide = std::min(format.widthPixels, format.heightPixels);
    const bool isWithinLimits = longSide <= kMaximumLongSide && shortSide <= kMaximumShortSide;
    const double rate = std::min(format.framesPerSecond(), kMaximumFramesPerSecond);
    const bool isFluent = format.framesNumerator == 0 || rate >= kFluentFramesPerSecond;
    const long area = static_cast<long>(longSide) * shortSide;
    // A rate beyond the limit only costs; it comes last of two that are equal otherwise.
    return std::tuple(isWithinLimits, isFluent, isWithinLimits ? area : -area, rate,
                      format.pictureFormat != CameraPictureFormat::mjpeg, -format.framesPerSecond());
}

}  // namespace

double CameraFormat::framesPerSecond() const {
    return framesDenominator > 0 ? static_cast<double>(framesNumerator) / framesDenominator : 0;
}

std::optional<CameraFormat> bestCameraFormat(const std::vector<CameraFormat>& formats) {
    const auto best = std::max_element(formats.begin(), formats.end(),
                                       [](const auto& a, const auto& b) { return rank(a) < rank(b); });
    if (best == formats.end()) return std::nullopt;
    return *best;
}

}  // namespace varnelle
