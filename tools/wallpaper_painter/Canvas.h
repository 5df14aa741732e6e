#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "wallpaper_painter/Color.h"

namespace varnelle::painter {

/// Calls `row` for each of `count` rows from several threads, in no particular order.
void parallelRows(int count, const std::function<void(int)>& row);

/// A picture of values of one kind. Places on it are told in frame heights: x from 0 to `aspect()`, y from 0
/// at the top to 1, so that a scene is the same at any size.
template <class Value>
class Raster {
public:
    Raster(int widthPixels, int heightPixels)
        : width_(widthPixels),
          height_(heightPixels),
          values_(static_cast<std::size_t>(widthPixels) * static_cast<std::size_t>(heightPixels)) {}

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] float aspect() const { return static_cast<float>(width_) / static_cast<float>(height_); }
    /// One pixel in frame heights.
    [[nodiscard]] float pixel() const { return 1 / static_cast<float>(height_); }
    [[nodiscard]] float centerX(int column) const { return (static_cast<float>(column) + 0.5F) * pixel(); }
    [[nodiscard]] float centerY(int row) const { return (static_cast<float>(row) + 0.5F) * pixel(); }
    [[nodiscard]] Value* row(int y) {
        return values_.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width_);
    }
    [[nodiscard]] const Value* row(int y) const {
        return values_.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width_);
    }

    /// Sets each pixel to `shader(x, y)`.
    template <class Shader>
    void paint(const Shader& shader) {
        parallelRows(height_, [&](int y) {
            Value* values = row(y);
            const float v = centerY(y);
            for (int x = 0; x < width_; ++x) values[x] = shader(centerX(x), v);
        });
    }
    /// Replaces each pixel by `shader(pixel, x, y)`.
    template <class Shader>
    void repaint(const Shader& shader) {
        parallelRows(height_, [&](int y) {
            Value* values = row(y);
            const float v = centerY(y);
            for (int x = 0; x < width_; ++x) values[x] = shader(values[x], centerX(x), v);
        });
    }

    /// Bilinear between pixel centres; the edge goes on beyond the frame.
    [[nodiscard]] Value sample(float x, float y) const {
        const float px =
            std::min(std::max(x * static_cast<float>(height_) - 0.5F, 0.0F), static_cast<float>(width_ - 1));
        const float py =
            std::min(std::max(y * static_cast<float>(height_) - 0.5F, 0.0F), static_cast<float>(height_ - 1));
        const int ix = std::min(static_cast<int>(px), std::max(width_ - 2, 0));
        const int iy = std::min(static_cast<int>(py), std::max(height_ - 2, 0));
        const Value* upper = row(iy) + ix;
        const Value* lower = row(std::min(iy + 1, height_ - 1)) + ix;
        const int next = width_ > 1 ? 1 : 0;
        const float fx = px - static_cast<float>(ix);
        return mix(mix(upper[0], upper[next], fx), mix(lower[0], lower[next], fx),
                   py - static_cast<float>(iy));
    }

private:
    int width_;
    int height_;
    std::vector<Value> values_;
};

using Canvas = Raster<Rgb>;
using Field = Raster<float>;

/// A smaller raster for soft things: 1 / `divisor` of the pixels each way.
template <class Value, class Other>
Raster<Value> reduced(const Raster<Other>& like, int divisor) {
    return Raster<Value>(std::max(like.width() / divisor, 2), std::max(like.height() / divisor, 2));
}

/// Close to a Gaussian blur (three box passes); `sigma` in frame heights. Large ones are done on a reduced
/// copy, and the result is what that copy gives when it is sampled.
Canvas blurred(const Canvas& canvas, float sigma);
Field blurred(const Field& field, float sigma);

/// Lets light that is brighter than `threshold` bleed into its surroundings.
void addBloom(Canvas& canvas, float threshold, float sigma, float strength);

}  // namespace varnelle::painter
