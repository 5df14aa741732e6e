#pragma once

#include <cstdint>
#include <vector>

#include "wallpaper_painter/Canvas.h"

namespace varnelle::painter {

/// A round crown of leaves, or with `isCast` the soft shadow of one.
struct Crown {
    Vec2 center;  ///< in the frame
    Vec2 radius;  ///< in frame heights
    float depth;  ///< hides behind what is nearer
    Rgb lit;
    Rgb shaded;
    Vec2 light;  ///< towards the light, in the frame
    std::uint32_t seed;
    bool isCast = false;
};

/// Paints crowns from the farthest to the nearest.
void paintCrowns(Canvas& canvas, const Field& depths, std::vector<Crown> crowns);

/// A conifer in profile: foot and height in the frame, width of its lowest branches.
struct Conifer {
    Vec2 foot;
    float height;
    float width;
    std::uint32_t seed;
};

/// How much of each pixel conifers cover, added to what `coverage` has already. Branch by branch, with bare
/// tips.
void coverWithConifers(Field& coverage, const std::vector<Conifer>& conifers);

}  // namespace varnelle::painter
