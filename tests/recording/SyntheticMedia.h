#pragma once

#include <cstdint>

#include "media/SampleBuffer.h"

namespace varnelle::test {

/// A host time, in seconds since some moment.
CMTime hostSeconds(double seconds);
/// A picture of one colour (0xRRGGBB) that was shown at a host time.
SampleBuffer screenSample(CMTime hostTime, std::uint32_t color = 0x808080, int widthPixels = 128,
                          int heightPixels = 128);
/// A picture with a presentation time only, as cameras deliver it.
SampleBuffer cameraSample(CMTime hostTime, std::uint32_t color = 0x4060a0, int widthPixels = 128,
                          int heightPixels = 128);
/// 20 ms of a tone.
SampleBuffer soundSample(CMTime hostTime, int channelCount);

}  // namespace varnelle::test
