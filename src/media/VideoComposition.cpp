#include "media/VideoComposition.h"

#include <fmt/format.h>

#include <cmath>

#include "media/MediaError.h"

namespace varnelle {
namespace {

constexpr double kSmallestSide = 2;
constexpr double kLargestCanvasSide = 16'384;

CGSize checked(CGSize size) {
    const auto isSupported = [](double side) { return side >= kSmallestSide && side <= kLargestCanvasSide; };
    if (!isSupported(size.width) || !isSupported(size.height)) {
        throw MediaError(
            MediaError::Code::unsupportedSize,
            fmt::format("A picture of {:g} by {:g} pixels can't be rendered: both sides have to be "
                        "between {:g} and {:g} pixels.",
                        size.width, size.height, kSmallestSide, kLargestCanvasSide));
    }
    return size;
}

CGSize scaled(CGSize size, double scale) {
    if (scale == 1) return size;
    // A scale that is the quotient of two whole sizes leads back to them.
    constexpr double roundingError = 1e-6;
    return {std::floor(size.width * scale + roundingError), std::floor(size.height * scale + roundingError)};
}

}  // namespace

VideoRenderContext::VideoRenderContext(CGSize renderSize, double renderScale)
    : renderSize_(checked(renderSize)),
      renderScale_(renderScale),
      size_(checked(scaled(renderSize, renderScale))),
      pool_(PixelFormat::bgra, static_cast<int>(size_.width), static_cast<int>(size_.height),
            ColorDescription::sRGB()) {}

}  // namespace varnelle
