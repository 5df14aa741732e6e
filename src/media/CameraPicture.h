#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "media/VideoFrame.h"

namespace varnelle {

/// How cameras lay out a picture. The packed ones without subsampling are named by the order of their bytes.
enum class CameraPictureFormat {
    bgrx,   ///< 4 bytes a pixel, the last one unused
    rgbx,   ///< likewise
    bgr,    ///< 3 bytes a pixel
    rgb,    ///< likewise
    yuy2,   ///< two pixels in 4 bytes: luma, blue difference, luma, red difference
    uyvy,   ///< two pixels in 4 bytes: blue difference, luma, red difference, luma
    nv12,   ///< a plane of luma, then one of both differences at half width and height
    i420,   ///< a plane of luma, then one of each difference at half width and height
    gray,   ///< luma only
    mjpeg,  ///< each picture a JPEG file of its own
};

/// One picture as it came from the camera. `bytesPerRow` is that of the first plane (the others follow from
/// it), 0 for rows without padding.
struct CameraPicture {
    CameraPictureFormat format = CameraPictureFormat::yuy2;
    int widthPixels = 0;
    int heightPixels = 0;
    std::ptrdiff_t bytesPerRow = 0;
    ColorDescription color;  ///< unspecified parts are taken to be what cameras usually mean
    std::span<const std::uint8_t> bytes;
};

/// Turns a camera's pictures into frames: BGRA (whose fourth byte means nothing) where they are colours
/// already, otherwise I420 or NV12 with the numbers unchanged, in memory of the frame's own. For one thread.
class CameraPictureReader {
public:
    CameraPictureReader();
    ~CameraPictureReader();
    CameraPictureReader(const CameraPictureReader&) = delete;
    CameraPictureReader& operator=(const CameraPictureReader&) = delete;

    /// An empty frame for a picture that is cut off, damaged or of no size. A compressed picture's own size
    /// counts.
    [[nodiscard]] VideoFrame read(const CameraPicture& picture);

private:
    class Decoder;
    struct PoolShape {
        PixelFormat format = PixelFormat::i420;
        int widthPixels = 0;
        int heightPixels = 0;
        ColorDescription color;
        bool operator==(const PoolShape&) const = default;
    };

    VideoFrame readPlanes(const CameraPicture& picture);
    VideoFrame readPacked(const CameraPicture& picture);
    VideoFrame readCompressed(const CameraPicture& picture);
    VideoFrame newFrame(PixelFormat format, int widthPixels, int heightPixels, ColorDescription color);

    std::unique_ptr<Decoder> decoder_;
    std::unique_ptr<VideoFramePool> pool_;
    PoolShape poolShape_;
};

/// The memory that an uncompressed picture takes, in bytes; 0 for compressed ones. Sizes must be positive.
std::size_t cameraPictureByteCount(CameraPictureFormat format, int widthPixels, int heightPixels,
                                   std::ptrdiff_t bytesPerRow);

}  // namespace varnelle
