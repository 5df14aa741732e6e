#pragma once

#include <cstddef>
#include <vector>

#include "foundation/Geometry.h"
#include "imaging/Bitmap.h"

namespace varnelle {

/// An opaque picture for painting, sRGB-encoded, in floats of 0 to 1: red, green, blue per pixel. Row 0 is
/// the top row; points given to its operations have their origin at the bottom left, y upwards, in pixels.
class FloatImage {
public:
    FloatImage(int widthPixels, int heightPixels);

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] float* row(int y) { return values_.data() + index(y); }
    [[nodiscard]] const float* row(int y) const { return values_.data() + index(y); }

    /// The nearest 8-bit picture.
    [[nodiscard]] Bitmap bitmap() const;

private:
    [[nodiscard]] std::size_t index(int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) * 3;
    }

    int width_;
    int height_;
    std::vector<float> values_;
};

enum class BlendMode { normal, screen, multiply };

/// Constant before `point0` and after `point1`, linear between.
void paintLinearGradient(FloatImage& image, CGPoint point0, const Color& color0, CGPoint point1,
                         const Color& color1);

/// Blends a radial gradient into the picture: `color0` inside `radius0`, `color1` beyond `radius1`, linear
/// (in premultiplied components) between.
void blendRadialGradient(FloatImage& image, CGPoint center, double radius0, const Color& color0,
                         double radius1, const Color& color1, BlendMode mode);

/// The picture blurred by a Gaussian of the given standard deviation in pixels, its edges repeated for ever.
FloatImage gaussianBlurred(const FloatImage& image, double sigma);

/// Screen-blends `layer`, times `gain`, into a picture of the same size.
void blendScreen(FloatImage& image, const FloatImage& layer, double gain);

/// Multiplies the picture by grey noise: `bias + gain * n`, n being uniform noise of 0 to 1 whose distance
/// from the middle is reduced to `contrast`. The noise is the same every time.
void multiplyNoise(FloatImage& image, double contrast, double gain, double bias);

}  // namespace varnelle
