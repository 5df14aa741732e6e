#include "imaging/Bitmap.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <new>

namespace varnelle {
namespace {

constexpr std::size_t kAlignment = 64;

std::uint8_t premultipliedByte(double component, double alpha) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(component * alpha, 0.0, 1.0) * 255));
}

}  // namespace

Bitmap::Bitmap(int widthPixels, int heightPixels) {
    assert(widthPixels > 0 && heightPixels > 0);
    const std::size_t bytesPerRow =
        (static_cast<std::size_t>(widthPixels) * 4 + kAlignment - 1) / kAlignment * kAlignment;
    const std::size_t bytes = bytesPerRow * static_cast<std::size_t>(heightPixels);
    storage_.reset(static_cast<std::uint8_t*>(::operator new(bytes, std::align_val_t(kAlignment))),
                   [](std::uint8_t* p) { ::operator delete(p, std::align_val_t(kAlignment)); });
    view_ = {storage_.get(), static_cast<std::ptrdiff_t>(bytesPerRow), widthPixels, heightPixels};
}

void fill(const BitmapView& bitmap, const Color& color) {
    const std::uint8_t pixel[4] = {
        premultipliedByte(color.blue, color.alpha), premultipliedByte(color.green, color.alpha),
        premultipliedByte(color.red, color.alpha), premultipliedByte(1, color.alpha)};
    for (int y = 0; y < bitmap.height; ++y) {
        for (int x = 0; x < bitmap.width; ++x) std::memcpy(bitmap.pixel(x, y), pixel, sizeof(pixel));
    }
}

}  // namespace varnelle
