#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/Geometry.h"

namespace varnelle {

/// A screen that can be recorded.
struct ShareableDisplay {
    std::uint32_t displayID = 0;  ///< the desktop's own number, stable while the screen stays connected
    CGRect frame;                 ///< global points, origin top left
    int widthPixels = 0;
    int heightPixels = 0;
    double scale = 1.0;  ///< pixels per point
    std::string name;

    bool operator==(const ShareableDisplay&) const = default;
};

/// A running program that has windows.
struct ShareableApplication {
    std::int64_t processID = 0;
    std::string name;

    bool operator==(const ShareableApplication&) const = default;
};

/// What the desktop has to offer for recording at one moment.
struct ShareableContent {
    std::vector<ShareableDisplay> displays;          ///< the primary one first
    std::vector<ShareableApplication> applications;  ///< empty where the desktop can't leave windows out
};

}  // namespace varnelle
