#pragma once

#include "foundation/Geometry.h"
#include "media/VideoFrame.h"

namespace varnelle {

/// A frame turned as its track's preferred transform says: quarter turns and mirrorings. The frame itself if
/// the transform leaves it upright, or is of another kind.
VideoFrame orientedFrame(const VideoFrame& frame, const CGAffineTransform& preferredTransform);

/// Pixels of the turned frame, without turning it.
CGSize orientedSize(const VideoFrame& frame, const CGAffineTransform& preferredTransform);

}  // namespace varnelle
