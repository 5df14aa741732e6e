#include "recording/RecordingGeometry.h"

#include <algorithm>
#include <cmath>

namespace varnelle {
namespace {

int evenPixels(double pixels) {
    // Points are pixels over a scale; the way back mustn't lose a pixel to rounding.
    constexpr double roundingError = 1e-6;
    const int whole = static_cast<int>(std::floor(pixels + roundingError));
    return whole < 2 ? 2 : whole / 2 * 2;
}

using DisplaySource = RecordingConfiguration::DisplaySource;
using WindowSource = RecordingConfiguration::WindowSource;
using AreaSource = RecordingConfiguration::AreaSource;

template <typename... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};
template <typename... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;

CGSize sizeInPixels(const ShareableDisplay& display) {
    return {static_cast<double>(display.widthPixels), static_cast<double>(display.heightPixels)};
}

/// `part` with the size that the movie has, if that is what rounding made of it.
CGRect fittedPart(const CGRect& part, PixelSize movie, double scale) {
    const CGSize size{movie.width / scale, movie.height / scale};
    const bool isClose =
        std::abs(size.width - part.width()) <= 1 && std::abs(size.height - part.height()) <= 1;
    return isClose ? CGRect{part.origin, size} : part;
}

}  // namespace

PixelSize evenPixelSize(CGSize points, double scale) {
    return {evenPixels(points.width * scale), evenPixels(points.height * scale)};
}

PixelSize capturePixelSize(const RecordingConfiguration::Source& source) {
    return std::visit(
        Overloaded{
            [](const DisplaySource& whole) { return evenPixelSize(sizeInPixels(whole.display), 1); },
            [](const WindowSource& one) { return evenPixelSize(one.window.frame.size, one.window.scale); },
            [](const AreaSource& area) { return evenPixelSize(area.rect.size, area.pointPixelScale); }},
        source);
}

CGSize renderSize(const RecordingConfiguration::Source& source,
                  const std::vector<ShareableDisplay>& displays) {
    const auto ofWindow = [&](const WindowSource& one) {
        if (one.display) return sizeInPixels(*one.display);
        const CGRect& frame = one.window.frame;
        const auto screen = std::find_if(
            displays.begin(), displays.end(),
            [&frame](const ShareableDisplay& display) { return display.frame.contains(frame.center()); });
        if (screen != displays.end()) return sizeInPixels(*screen);
        const PixelSize size = capturePixelSize(one);
        return CGSize{static_cast<double>(size.width), static_cast<double>(size.height)};
    };
    return std::visit(Overloaded{[](const DisplaySource& whole) { return sizeInPixels(whole.display); },
                                 ofWindow, [](const AreaSource& area) { return sizeInPixels(area.display); }},
                      source);
}

CGRect captureRegion(const RecordingConfiguration::Source& source) {
    return std::visit(Overloaded{[](const DisplaySource& whole) { return whole.display.frame; },
                                 [](const WindowSource& one) { return one.window.frame; },
                                 [](const AreaSource& area) {
                                     const CGPoint origin = area.display.frame.origin;
                                     return area.rect.offsetBy(origin.x, origin.y);
                                 }},
                      source);
}

std::optional<CGRect> sourceRect(const RecordingConfiguration::Source& source) {
    const PixelSize movie = capturePixelSize(source);
    return std::visit(Overloaded{[](const DisplaySource&) -> std::optional<CGRect> { return std::nullopt; },
                                 [movie](const WindowSource& one) -> std::optional<CGRect> {
                                     if (!one.display) return std::nullopt;
                                     const CGPoint origin = one.display->frame.origin;
                                     return fittedPart(one.window.frame.offsetBy(-origin.x, -origin.y), movie,
                                                       one.window.scale);
                                 },
                                 [movie](const AreaSource& area) -> std::optional<CGRect> {
                                     return fittedPart(area.rect, movie, std::max(area.pointPixelScale, 1.0));
                                 }},
                      source);
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
