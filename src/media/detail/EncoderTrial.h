#pragma once

#include "media/AssetWriter.h"

namespace varnelle::detail {

/// How many frames a second of a lively picture this machine's HEVC software encoder manages with settings
/// for live capture. Measured once for each processor model, size and rate (well under a second at usual
/// sizes), then read from the user's cache directory. Safe on any thread.
double framesPerSecondOfLiveHEVC(const VideoSettings& settings);

}  // namespace varnelle::detail
