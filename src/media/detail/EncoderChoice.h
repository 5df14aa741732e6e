#pragma once

#include <memory>

#include "media/AssetWriter.h"
#include "media/detail/VideoEncoder.h"

namespace varnelle::detail {

/// Opens the best encoder for the settings and logs the choice once for each combination.
///
/// Hardware comes first where the machine has it and a trial in another process has shown that it works; then
/// software. Live capture in HEVC falls back to H.264 where the HEVC encoder can't keep up with the size and
/// rate, which a short trial finds out; its result is kept in `encoders.json` in the user's cache directory.
/// Safe on any thread. Throws `MediaError` (`unsupportedSize`, `cannotEncode`).
std::unique_ptr<VideoEncoder> openBestEncoder(const VideoSettings& settings);

}  // namespace varnelle::detail
