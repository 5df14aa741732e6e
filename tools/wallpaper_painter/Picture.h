#pragma once

#include <string>

#include "wallpaper_painter/Canvas.h"

namespace varnelle::painter {

/// Writes a painted canvas as a JPEG file: the brightest parts rolled off, sRGB-encoded, a fine grain in
/// place of the steps of 8 bits. Throws `std::runtime_error`.
void writePicture(const Canvas& canvas, const std::string& path);

}  // namespace varnelle::painter
