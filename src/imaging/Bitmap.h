#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace varnelle {

/// Pixels of a picture that someone else owns: premultiplied 8-bit BGRA, sRGB-encoded, row 0 on top.
struct BitmapView {
    std::uint8_t* data = nullptr;
    std::ptrdiff_t bytesPerRow = 0;
    int width = 0;   ///< pixels
    int height = 0;  ///< pixels

    [[nodiscard]] std::uint8_t* row(int y) const { return data + y * bytesPerRow; }
    [[nodiscard]] std::uint8_t* pixel(int x, int y) const { return row(y) + std::ptrdiff_t{4} * x; }
};

/// A picture with storage of its own, in the layout of `BitmapView`, rows aligned to 64 bytes. Copies share
/// the storage.
class Bitmap {
public:
    Bitmap() = default;
    /// Contents undefined. Sizes must be positive.
    Bitmap(int widthPixels, int heightPixels);

    [[nodiscard]] bool isEmpty() const { return storage_ == nullptr; }
    [[nodiscard]] const BitmapView& view() const { return view_; }
    [[nodiscard]] int width() const { return view_.width; }
    [[nodiscard]] int height() const { return view_.height; }

private:
    std::shared_ptr<std::uint8_t> storage_;
    BitmapView view_;
};

struct Color {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;
    bool operator==(const Color&) const = default;
};

/// Every pixel in one opaque or translucent colour.
void fill(const BitmapView& bitmap, const Color& color);

}  // namespace varnelle
