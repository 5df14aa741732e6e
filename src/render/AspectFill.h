#pragma once

#include "foundation/Geometry.h"
#include "imaging/Bitmap.h"
#include "media/VideoFrame.h"

namespace varnelle {

/// Where a picture lies that fills `rect` without being stretched: its middle on the rectangle's middle, cut
/// on two sides. Sizes must be positive.
CGRect aspectFillRect(CGSize picture, const CGRect& rect);

/// A BGRA picture cut and scaled to fill a bitmap, opaque: averaged where it is shrunk, bilinear where it is
/// enlarged.
Bitmap aspectFilled(const VideoFrame& picture, int widthPixels, int heightPixels);

}  // namespace varnelle
