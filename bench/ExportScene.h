#pragma once

#include <vector>

#include "foundation/Geometry.h"
#include "foundation/URL.h"

namespace varnelle::bench {

/// A project to export and the pictures that the nearest look by a filter graph needs, all in one directory.
struct ExportScene {
    URL movie;          ///< the screen recording
    URL package;        ///< the project of that recording
    URL background;     ///< PNG: the canvas with the shadow of the screen on it
    URL mask;           ///< PNG of the size of `screenRect`: the rounded screen in white on black
    CGRect screenRect;  ///< where the screen lies on the canvas; whole pixels, origin at the bottom left
    CGSize canvas;
};

/// Ranges in which the project zooms, in seconds, and the length of the movie.
struct ZoomRange {
    double start = 0;
    double end = 0;
};

/// Makes a recording of `seconds` of a dark editor, written with the settings of our recorder: text scrolls
/// by a few pixels in every frame for a while, then nothing changes and no frame comes. `scale` 1 is 1920 by
/// 1080 at 60 frames a second, 2 the same desktop on a 3840 by 2160 screen. The pointer sweeps, rests and
/// clicks. The project shows it on a gradient, with a shadow, the pointer and the given zooms.
ExportScene makeExportScene(const URL& directory, int scale, double seconds,
                            const std::vector<ZoomRange>& zooms);

}  // namespace varnelle::bench
