#pragma once

#include <cstdint>
#include <vector>

#include "foundation/Geometry.h"
#include "imaging/Bitmap.h"

namespace varnelle {

/// A small picture drawn at one scale and place, sharply at any size: each output pixel is the area average
/// of what it covers. Holds the scaled pixels; the position may lie anywhere between pixels.
class Sprite {
public:
    Sprite() = default;
    /// `master` scaled by `scale` (more than 0), with its top left corner at `topLeft` in canvas pixels, y
    /// downwards. Only what lies on a canvas of the given size is made.
    Sprite(const BitmapView& master, double scale, CGPoint topLeft, int canvasWidth, int canvasHeight);

    /// First column and row that are touched, and the ones after the last.
    [[nodiscard]] int left() const { return left_; }
    [[nodiscard]] int top() const { return top_; }
    [[nodiscard]] int right() const { return left_ + width_; }
    [[nodiscard]] int bottom() const { return top_ + height_; }
    /// The premultiplied BGRA pixels of canvas row `y`, from `left()` on.
    [[nodiscard]] const std::uint8_t* row(int y) const;

private:
    int left_ = 0;
    int top_ = 0;
    int width_ = 0;
    int height_ = 0;
    std::vector<std::uint8_t> pixels_;
};

}  // namespace varnelle
