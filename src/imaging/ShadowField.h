#pragma once

#include <vector>

#include "foundation/Geometry.h"

namespace varnelle {

/// A rounded rectangle blurred by a Gaussian, evaluated anywhere without blurring a picture: the blurred
/// plain rectangle is a product of error functions, and what the rounding takes away at each corner is a
/// small sum of such products. Coordinates are canvas pixels with y downwards. Immutable after construction.
class BlurredRoundedRect {
public:
    /// `sigma` is the Gaussian's standard deviation in pixels. What lies outside `clip` is cut off before the
    /// blur.
    BlurredRoundedRect(const CGRect& rect, double cornerRadius, double sigma, const CGRect& clip,
                       int canvasWidth);

    /// Adds `weight` times the blurred coverage at the pixel centres of row `y`, columns `from` to `to`, to
    /// `values`, which is indexed by column.
    void addRow(int y, int from, int to, float weight, float* values) const;

private:
    /// What a rounded corner lacks of the square, as strips across it.
    struct Corner {
        double left = 0;  ///< columns that are affected
        double right = 0;
        double top = 0;  ///< rows that are affected
        double bottom = 0;
        struct Strip {
            double top;
            double bottom;
            std::vector<float> columns;  ///< blurred extent across, from `left` on
        };
        std::vector<Strip> strips;
    };

    void addCorner(const CGRect& rect, double radius, bool isRight, bool isBottom, const CGRect& clip);

    double sigma_;
    int canvasWidth_;
    CGRect core_;                 // the rectangle inside the clip
    std::vector<float> columns_;  // its blurred extent across, per canvas column
    std::vector<Corner> corners_;
};

/// The shadow under the recorded screen or a bubble: four black layers (ring, contact, ambient, drop) blurred
/// to different degrees and stacked.
class ShadowField {
public:
    /// `rect` and `cornerRadius` in canvas pixels, y downwards. `opacity` and `shadowRadius` as in the look
    /// settings, the radius in pixels of the canvas in its own size, of which this one is `scale` times as
    /// large.
    ShadowField(const CGRect& rect, double cornerRadius, double opacity, double shadowRadius, int canvasWidth,
                int canvasHeight, double scale = 1);

    /// How far a shadow can be seen beyond its rectangle, in canvas pixels.
    struct Reach {
        double around;
        double lowering;  ///< how much further below
    };
    [[nodiscard]] static Reach reach(double shadowRadius, double scale);

    /// How much of the background shines through at row `y`, columns `from` to `to`: 0 to 1, written to
    /// `transmittance`, which is indexed by column and must hold the canvas's width.
    void row(int y, int from, int to, float* transmittance);

private:
    struct Layer {
        float alpha;
        std::vector<std::pair<float, BlurredRoundedRect>> shapes;  // weight and shape
    };

    std::vector<Layer> layers_;
    std::vector<float> coverage_;
};

}  // namespace varnelle
