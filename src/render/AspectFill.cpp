#include "render/AspectFill.h"

#include <algorithm>

#include "imaging/PictureSampler.h"
#include "render/PlanarFrame.h"

namespace varnelle {

CGRect aspectFillRect(CGSize picture, const CGRect& rect) {
    const double scale = std::max(rect.width() / picture.width, rect.height() / picture.height);
    const CGSize size{picture.width * scale, picture.height * scale};
    return {{rect.minX() + (rect.width() - size.width) / 2, rect.minY() + (rect.height() - size.height) / 2},
            size};
}

Bitmap aspectFilled(const VideoFrame& picture, int widthPixels, int heightPixels) {
    const CGSize size{static_cast<double>(picture.width()), static_cast<double>(picture.height())};
    const CGRect canvas{{0, 0}, {static_cast<double>(widthPixels), static_cast<double>(heightPixels)}};
    PictureSampler sampler(planarPicture(picture), aspectFillRect(size, canvas), 0, widthPixels);
    Bitmap bitmap(widthPixels, heightPixels);
    for (int y = 0; y < heightPixels; ++y) sampler.row(y, bitmap.view().row(y));
    return bitmap;
}

}  // namespace varnelle
