#pragma once

#include "foundation/URL.h"
#include "media/VideoFrame.h"

namespace varnelle {

/// The longest side and the most pixels of a picture that is opened.
inline constexpr int kMaximumPictureSide = 16384;
inline constexpr std::int64_t kMaximumPicturePixels = 100'000'000;

/// Reads a still picture (JPEG, PNG, WebP, BMP or TIFF, told by its first bytes) as a BGRA frame of its own
/// size. Throws `MediaError` with a sentence that names the file: `cannotOpen` for what can't be read or
/// isn't a regular file, `cannotDecode` for what isn't a whole picture, `unsupportedSize` for a larger one
/// than above.
VideoFrame loadPicture(const URL& url);

}  // namespace varnelle
