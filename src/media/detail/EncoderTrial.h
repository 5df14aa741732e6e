#pragma once

#include "media/AssetWriter.h"

namespace varnelle::detail {

/// How many frames a second of a lively picture this machine's HEVC software encoder manages with settings
/// for live capture. Measured once for each processor model, size and rate (for a second at most,
/// after a first frame), then read from the user's cache directory. Other programs may have had the
/// processors then: a figure below `sufficient` is measured anew on another day. Safe on any thread.
double framesPerSecondOfLiveHEVC(const VideoSettings& settings, double sufficient);

}  // namespace varnelle::detail
