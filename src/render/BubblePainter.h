#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/CountedCache.h"
#include "imaging/PictureSampler.h"
#include "imaging/RoundedRectMask.h"
#include "render/FramePlan.h"

namespace varnelle {

/// The shadow around a bubble: how much shines through it, per pixel of the part of the canvas that it
/// reaches.
struct BubbleShadow {
    int left = 0;  ///< canvas pixels, y downwards
    int top = 0;
    int width = 0;
    int height = 0;
    std::vector<float> transmittance;  ///< row by row, 0 to 1
};

/// Bubbles' still shadows. Safe to share between threads.
using BubbleShadowCache = CountedCache<std::string, std::shared_ptr<const BubbleShadow>>;

/// Draws the camera bubble of one frame over finished rows. For one thread.
class BubblePainter {
public:
    /// `plan` must have a bubble; `camera` is the oriented camera picture and has to stay.
    BubblePainter(const FramePlan& plan, const PlanarPicture& camera, BubbleShadowCache& shadows);

    /// Rows have to come in order. `bgra` is the canvas's row `y`, y downwards.
    void paintRow(int y, std::uint8_t* bgra);

private:
    CGRect rect_;  // y downwards
    RoundedRectMask mask_;
    std::shared_ptr<const BubbleShadow> shadow_;
    int firstColumn_ = 0;
    int endColumn_ = 0;
    bool isMirrored_;
    std::optional<PictureSampler> sampler_;
    std::vector<std::uint8_t> row_;
};

}  // namespace varnelle
