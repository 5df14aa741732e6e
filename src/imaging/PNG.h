#pragma once

#include "foundation/URL.h"
#include "imaging/Bitmap.h"

namespace varnelle {

/// Reads a PNG file. Throws `Error` with a sentence that names the file.
Bitmap readPNG(const URL& url);
/// Writes a PNG file atomically. Throws `Error` or `FileError`.
void writePNG(const BitmapView& bitmap, const URL& url);

}  // namespace varnelle
