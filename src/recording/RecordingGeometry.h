#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Date.h"
#include "foundation/Geometry.h"
#include "recording/RecordingConfiguration.h"

namespace varnelle {

struct PixelSize {
    int width = 0;
    int height = 0;
    bool operator==(const PixelSize&) const = default;
};

/// The size in whole pixels: down to even numbers, which the encoder needs, and at least 2 by 2.
PixelSize evenPixelSize(CGSize points, double scale);

/// The size of the stream and of its movie.
PixelSize capturePixelSize(const RecordingConfiguration::Source& source);
/// The size in pixels of the screen that the source is on, not rounded; `displays` are looked through for a
/// window by itself, and if none holds its middle, it is the size of the movie.
CGSize renderSize(const RecordingConfiguration::Source& source,
                  const std::vector<ShareableDisplay>& displays);
/// The part of the display that the movie shows, in points from the display's top left corner; absent for a
/// whole display and for a window by itself. Where the movie's size differs from the part's by a point at
/// most in each direction, which rounding to even pixels does, the part is made to fit, so that nothing is
/// scaled.
std::optional<CGRect> sourceRect(const RecordingConfiguration::Source& source);
/// The recorded region in global points, origin top left.
CGRect captureRegion(const RecordingConfiguration::Source& source);

/// Bits per second of the screen movie and of the camera movie.
std::int64_t screenBitRate(PixelSize size);
std::int64_t cameraBitRate(PixelSize size);

/// "recording_" and the time, without colons, so that it is a file name on every system.
std::string sessionDirectoryName(Date time);

}  // namespace varnelle
