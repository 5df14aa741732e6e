#include "recording/RecordingGeometry.h"

#include <algorithm>
#include <cmath>

namespace varnelle {
namespace {

int evenPixels(double pixels) {
    const int whole = static_cast<int>(std::floor(pixels));
    return whole < 2 ? 2 : whole / 2 * 2;
}

const RecordingConfiguration::DisplaySource& displaySource(const RecordingConfiguration::Source& source) {
    return std::get<RecordingConfiguration::DisplaySource>(source);
}

}  // namespace

PixelSize evenPixelSize(CGSize points, double scale) {
    return {evenPixels(points.width * scale), evenPixels(points.height * scale)};
}

PixelSize capturePixelSize(const RecordingConfiguration::Source& source) {
    const ShareableDisplay& display = displaySource(source).display;
    return evenPixelSize(display.frame.size, display.scale);
}

CGSize renderSize(const RecordingConfiguration::Source& source) {
    const ShareableDisplay& display = displaySource(source).display;
    return {display.frame.width() * display.scale, display.frame.height() * display.scale};
}

CGRect captureRegion(const RecordingConfiguration::Source& source) {
    return displaySource(source).display.frame;
}

std::int64_t screenBitRate(PixelSize size) {
    return std::int64_t{size.width} * size.height * 8;
}

std::int64_t cameraBitRate(PixelSize size) {
    constexpr std::int64_t floor = 6'000'000;
    return std::max(std::int64_t{size.width} * size.height * 6, floor);
}

std::string sessionDirectoryName(Date time) {
    std::string name = "recording_" + time.iso8601();
    std::replace(name.begin(), name.end(), ':', '-');
    return name;
}

}  // namespace varnelle
