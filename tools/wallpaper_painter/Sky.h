#pragma once

#include <cstdint>

#include "wallpaper_painter/Canvas.h"
#include "wallpaper_painter/Terrain.h"

namespace varnelle::painter {

/// Stars of several brightnesses and faint colours above a line; fewer and weaker towards it. `density` is
/// stars per square frame height.
void addStars(Canvas& canvas, float density, float brightness, float fadeFrom, float fadeTo,
              std::uint32_t seed);

/// A bank of clouds between two heights (world units above the eye), lit by the sun.
struct CloudBank {
    float base = 1;
    float top = 2;
    float featureSize = 1;  ///< of a cloud, in world units
    float cover = 0.5F;     ///< 0 to 1
    float density = 1;      ///< how soon light gets lost in them
    Vec3 sun;               ///< direction towards it
    Rgb sunlight;
    Rgb skylight;  ///< on what the sun doesn't reach
    Rgb haze;      ///< what they fade into far away
    float hazeDepth = 20;
    Vec2 offset;  ///< moves the clouds about
    std::uint32_t seed = 0;
};

/// Paints clouds over the sky by following each line of sight through the bank. Done at a fraction of the
/// canvas's size; clouds are soft.
void paintClouds(Canvas& canvas, const Camera& camera, const CloudBank& bank);

}  // namespace varnelle::painter
