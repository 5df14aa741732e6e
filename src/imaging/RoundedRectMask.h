#pragma once

#include <cstdint>
#include <vector>

#include "foundation/Geometry.h"

namespace varnelle {

/// The area coverage of a rounded rectangle on the pixels of a canvas, row by row. Straight edges are exact
/// wherever they lie between pixels, so that a slowly moving edge moves smoothly; corners are integrated over
/// 16 lines a pixel. Not to be shared between threads.
class RoundedRectMask {
public:
    /// One row of coverage. Pixels before `begin` and from `end` on are outside, those from `fullBegin` to
    /// `fullEnd` are wholly inside; the two edges between have a coverage of 0 to 255 per pixel. Valid until
    /// the next row.
    struct Row {
        int begin = 0;
        int fullBegin = 0;
        int fullEnd = 0;
        int end = 0;
        const std::uint8_t* leftCoverage = nullptr;   ///< for `begin` to `fullBegin`
        const std::uint8_t* rightCoverage = nullptr;  ///< for `fullEnd` to `end`
    };

    /// `rect` in canvas pixels with y downwards; the radius is limited to half the shorter side. Columns are
    /// clipped to 0 up to `canvasWidth`.
    RoundedRectMask(const CGRect& rect, double radius, int canvasWidth);

    [[nodiscard]] Row row(int y);
    /// Whether every pixel of a canvas of this height (and the width given above) is wholly inside.
    [[nodiscard]] bool coversCanvas(int canvasHeight) const;

private:
    [[nodiscard]] double insetAt(double y) const;
    void accumulate(double left, double right, double weight, int from, int to,
                    std::vector<double>& coverage) const;

    CGRect rect_;
    double radius_;
    int canvasWidth_;
    std::vector<double> sums_;
    std::vector<std::uint8_t> left_;
    std::vector<std::uint8_t> right_;
};

/// destination = picture over destination where a row of the mask covers it. Both are BGRA rows of the
/// canvas, from its first column on, and opaque.
void copyThroughMask(const std::uint8_t* picture, const RoundedRectMask::Row& mask,
                     std::uint8_t* destination);

}  // namespace varnelle
