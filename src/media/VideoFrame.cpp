#include "media/VideoFrame.h"

#include <cassert>
#include <new>
#include <utility>

namespace varnelle {
namespace {

constexpr std::size_t kRowAlignment = 64;

struct PlaneSize {
    std::size_t bytesPerRow;
    std::size_t rows;
};

std::size_t aligned(std::size_t bytes) {
    return (bytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
}

std::vector<PlaneSize> planeSizes(PixelFormat format, int width, int height) {
    const auto columns = static_cast<std::size_t>(width);
    const auto rows = static_cast<std::size_t>(height);
    const std::size_t halfColumns = (columns + 1) / 2;
    const std::size_t halfRows = (rows + 1) / 2;
    switch (format) {
        case PixelFormat::bgra:
            return {{aligned(columns * 4), rows}};
        case PixelFormat::i420:
            return {
                {aligned(columns), rows}, {aligned(halfColumns), halfRows}, {aligned(halfColumns), halfRows}};
        case PixelFormat::nv12:
            return {{aligned(columns), rows}, {aligned(halfColumns * 2), halfRows}};
    }
    return {};
}

}  // namespace

VideoFrame::VideoFrame(PixelFormat format, int widthPixels, int heightPixels, std::array<Plane, 3> planes,
                       ColorDescription color, std::shared_ptr<void> storage)
    : format_(format),
      width_(widthPixels),
      height_(heightPixels),
      planes_(planes),
      color_(color),
      storage_(std::move(storage)) {}

VideoFrame VideoFrame::allocate(PixelFormat format, int widthPixels, int heightPixels,
                                ColorDescription color) {
    assert(widthPixels > 0 && heightPixels > 0);
    const auto sizes = planeSizes(format, widthPixels, heightPixels);
    // Vector kernels may read (never write) a little beyond the last pixel of a row.
    std::size_t total = kRowAlignment;
    for (const PlaneSize& size : sizes) total += size.bytesPerRow * size.rows;
    auto* bytes = static_cast<std::uint8_t*>(::operator new(total, std::align_val_t(kRowAlignment)));
    std::shared_ptr<void> storage(bytes,
                                  [](void* p) { ::operator delete(p, std::align_val_t(kRowAlignment)); });
    std::array<Plane, 3> planes{};
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        planes.at(i) = {bytes, static_cast<std::ptrdiff_t>(sizes[i].bytesPerRow)};
        bytes += sizes[i].bytesPerRow * sizes[i].rows;
    }
    return {format, widthPixels, heightPixels, planes, color, std::move(storage)};
}

VideoFrame VideoFrame::tagged(ColorDescription color) const {
    VideoFrame copy = *this;
    copy.color_ = color;
    return copy;
}

VideoFramePool::VideoFramePool(PixelFormat format, int widthPixels, int heightPixels, ColorDescription color)
    : format_(format),
      width_(widthPixels),
      height_(heightPixels),
      color_(color),
      shelf_(std::make_shared<Shelf>()) {}

VideoFrame VideoFramePool::newFrame() {
    VideoFrame frame;
    {
        const std::lock_guard lock(shelf_->mutex);
        if (!shelf_->free.empty()) {
            frame = std::move(shelf_->free.back());
            shelf_->free.pop_back();
        }
    }
    if (frame.isEmpty()) frame = VideoFrame::allocate(format_, width_, height_, color_);
    const std::array<Plane, 3> planes{frame.plane(0), frame.plane(1), frame.plane(2)};
    // The lease is what copies of the frame share; its end puts the memory back on the shelf.
    std::shared_ptr<void> lease(frame.plane(0).data, [shelf = shelf_, frame](void*) mutable {
        const std::lock_guard lock(shelf->mutex);
        shelf->free.push_back(std::move(frame));
    });
    return {format_, width_, height_, planes, color_, std::move(lease)};
}

}  // namespace varnelle
