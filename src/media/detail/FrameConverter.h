#pragma once

#include "media/VideoFrame.h"
#include "media/detail/FFmpegPtr.h"

namespace varnelle::detail {

/// The library's words for a color description, and back. Unspecified parts stay unspecified.
AVColorPrimaries colorPrimaries(const ColorDescription& color);
AVColorTransferCharacteristic colorTransfer(const ColorDescription& color);
AVColorSpace colorMatrix(const ColorDescription& color);
AVColorRange colorRange(const ColorDescription& color);
ColorDescription colorDescription(const AVFrame& frame);

/// A frame as the library sees it, without a copy: it keeps the storage alive. Times and picture type are
/// unset.
FramePtr wrap(const VideoFrame& frame);

/// Turns whatever is appended into I420 of one size and color, with as little work as possible: a frame that
/// fits is passed on as it is, BGRA of the same size takes one pass, anything else is scaled. A frame that
/// shares its storage with the one before isn't converted again. For one thread.
class FrameConverter {
public:
    FrameConverter(int widthPixels, int heightPixels, ColorDescription color);

    /// Throws `MediaError` (`cannotEncode`) for a frame that can't be converted.
    FramePtr convert(const VideoFrame& frame);

private:
    VideoFrame converted(const VideoFrame& frame);
    VideoFrame scaled(const VideoFrame& frame);

    int width_;
    int height_;
    ColorDescription color_;
    VideoFramePool pool_;
    VideoFrame lastSource_;
    VideoFrame lastResult_;
    SwsContextPtr scaler_;
    VideoFrame scalerShape_;
};

}  // namespace varnelle::detail
