#include "render/PlanarFrame.h"

namespace varnelle {

PlanarPicture planarPicture(const VideoFrame& frame) {
    PlanarPicture picture;
    picture.width = frame.width();
    picture.height = frame.height();
    for (std::size_t i = 0; i < picture.planes.size(); ++i) {
        picture.planes.at(i) = {frame.plane(i).data, frame.plane(i).bytesPerRow};
    }
    switch (frame.format()) {
        case PixelFormat::bgra:
            picture.layout = PlanarPicture::Layout::bgra;
            break;
        case PixelFormat::i420:
            picture.layout = PlanarPicture::Layout::i420;
            break;
        case PixelFormat::nv12:
            picture.layout = PlanarPicture::Layout::nv12;
            break;
    }
    picture.matrix = frame.color().matrix == ColorDescription::Matrix::bt601 ? PlanarPicture::Matrix::bt601
                                                                             : PlanarPicture::Matrix::bt709;
    picture.isFullRange = frame.color().range == ColorDescription::Range::full;
    return picture;
}

}  // namespace varnelle
