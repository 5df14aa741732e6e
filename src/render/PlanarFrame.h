#pragma once

#include "imaging/PictureSampler.h"
#include "media/VideoFrame.h"

namespace varnelle {

/// How a decoded frame is read by the sampler. The frame has to stay.
PlanarPicture planarPicture(const VideoFrame& frame);

}  // namespace varnelle
