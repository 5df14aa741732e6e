#pragma once

#include <span>
#include <string_view>

#include "wallpaper_painter/Canvas.h"

namespace varnelle::painter {

/// A picture that the painter knows. Each scene covers the whole canvas and is the same at every size.
struct Scene {
    std::string_view name;  ///< of the file, without ".jpg"
    void (*paint)(Canvas& canvas);
};

/// All scenes, in no particular order.
std::span<const Scene> scenes();

}  // namespace varnelle::painter
