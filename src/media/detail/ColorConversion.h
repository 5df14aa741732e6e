#pragma once

#include "media/VideoFrame.h"

namespace varnelle::detail {

/// sRGB-encoded BGRA in full range to limited-range BT.709 4:2:0 (ITU-R BT.709-6, matrix 1 of ITU-T H.273).
///
/// Each chroma sample is the matrix applied to the mean of its 2 by 2 pixels, so it sits in the middle of
/// them; at an odd right or bottom edge the last column or row counts twice. Arithmetic is exact to 15
/// fractional bits and rounded to nearest. Alpha is ignored. Both frames have the same size; `target` is
/// I420.
void convertBGRAToI420(const VideoFrame& source, const VideoFrame& target);

/// The same, one pixel at a time: what the vector form is compared with.
void convertBGRAToI420Scalar(const VideoFrame& source, const VideoFrame& target);

}  // namespace varnelle::detail
