#pragma once

#include <array>
#include <vector>

#include "wallpaper_painter/Canvas.h"

namespace varnelle::painter {

/// Looks along z over a landscape with x to the right and y upwards. The picture plane stands upright, so
/// that upright things stay upright.
struct Camera {
    Vec3 eye;
    float horizon = 0.5F;  ///< height of the horizon in the frame
    float focal = 1;       ///< focal length in frame heights

    /// What one frame height measures at a depth.
    [[nodiscard]] float scale(float depth) const { return depth / focal; }
    [[nodiscard]] Vec3 ray(float aspect, float x, float y) const {
        return {(x - aspect / 2) / focal, (horizon - y) / focal, 1};
    }
    /// Where a point shows in the frame.
    [[nodiscard]] Vec2 project(float aspect, Vec3 point) const {
        const Vec3 way = point - eye;
        return {aspect / 2 + focal * way.x / way.z, horizon - focal * way.y / way.z};
    }
};

struct DepthRange {
    float near;
    float far;
};

inline constexpr float kBeyond = 1e9F;

namespace detail {

/// The ground along one column of pixels, as the eye sees it: how high in view what lies no farther than each
/// depth reaches.
class Skyline {
public:
    static constexpr std::size_t kSteps = 1100;

    template <class Height>
    void trace(const Camera& camera, DepthRange range, float slopeX, const Height& height) {
        const float growth = exponential2(logarithm2(range.far / range.near) / (kSteps - 1));
        float depth = range.near;
        float top = -1e9F;
        for (std::size_t k = 0; k < kSteps; ++k, depth *= growth) {
            const float ground = height(camera.eye.x + slopeX * depth, camera.eye.z + depth);
            top = std::max(top, (ground - camera.eye.y) / depth);
            depths_[k] = depth;
            tops_[k] = top;
        }
        index_ = 0;
    }
    /// The depth of what is seen at a slope; ask for rising slopes.
    float depthAt(float slope) {
        while (index_ < kSteps && tops_[index_] < slope) ++index_;
        if (index_ == kSteps) return kBeyond;
        if (index_ == 0) return depths_[0];
        const float t = (slope - tops_[index_ - 1]) / (tops_[index_] - tops_[index_ - 1]);
        return mix(depths_[index_ - 1], depths_[index_], t);
    }

private:
    std::array<float, kSteps> depths_{};
    std::array<float, kSteps> tops_{};
    std::size_t index_ = 0;
};

}  // namespace detail

/// Paints ground of the height `height(x, z)` over what the canvas shows, and its depths into `depths`. The
/// colour of a point is `shade(point, depth, size)`, `size` being what a pixel measures there. Edges are
/// averaged from six samples a pixel, and so is ground that is seen at a grazing angle.
template <class Height, class Shade>
void paintTerrain(Canvas& canvas, Field& depths, const Camera& camera, DepthRange range, const Height& height,
                  const Shade& shade) {
    constexpr std::size_t kColumns = 2;
    constexpr std::size_t kRows = 3;
    const float aspect = canvas.aspect();
    const float pixel = canvas.pixel();
    parallelRows(canvas.width(), [&](int x) {
        std::array<detail::Skyline, kColumns> skylines;
        std::array<float, kColumns> slopes{};
        for (std::size_t i = 0; i < kColumns; ++i) {
            const float across = (static_cast<float>(x) + (static_cast<float>(i) + 0.5F) / kColumns) * pixel;
            slopes[i] = (across - aspect / 2) / camera.focal;
            skylines[i].trace(camera, range, slopes[i], height);
        }
        const auto color = [&](float slopeX, float depth) {
            const float worldX = camera.eye.x + slopeX * depth;
            const float worldZ = camera.eye.z + depth;
            return shade(Vec3{worldX, height(worldX, worldZ), worldZ}, depth, pixel * camera.scale(depth));
        };
        for (int y = canvas.height() - 1; y >= 0; --y) {
            std::array<float, kColumns * kRows> hits{};
            float nearest = kBeyond;
            float farthest = 0;
            for (std::size_t i = 0; i < hits.size(); ++i) {
                const std::size_t row = i / kColumns;
                const float down =
                    (static_cast<float>(y + 1) - (static_cast<float>(row) + 0.5F) / kRows) * pixel;
                hits[i] = skylines[i % kColumns].depthAt((camera.horizon - down) / camera.focal);
                nearest = std::min(nearest, hits[i]);
                farthest = std::max(farthest, hits[i]);
            }
            depths.row(y)[x] = nearest;
            if (nearest == kBeyond) continue;
            Rgb& target = canvas.row(y)[x];
            if (farthest < nearest * 1.02F) {
                target = color((slopes[0] + slopes[1]) / 2, (nearest + farthest) / 2);
                continue;
            }
            Rgb sum;
            for (std::size_t i = 0; i < hits.size(); ++i) {
                sum += hits[i] == kBeyond ? target : color(slopes[i % kColumns], hits[i]);
            }
            target = sum * (1.0F / (kColumns * kRows));
        }
    });
}

/// The upward normal of ground, from its height a little to the side and a little farther.
template <class Height>
Vec3 groundNormal(const Height& height, Vec3 point, float step) {
    return normalized(
        {point.y - height(point.x + step, point.z), step, point.y - height(point.x, point.z + step)});
}

/// How much of the sun (a direction towards it) reaches a point over the ground: 0 in shadow, 1 in light,
/// soft between.
template <class Height>
float sunlight(const Height& height, Vec3 point, Vec3 sun, float reach, int steps, float softness) {
    float light = 1;
    float distance = reach / static_cast<float>(steps * steps);
    for (int i = 1; i <= steps; ++i) {
        const float t = reach * square(static_cast<float>(i) / static_cast<float>(steps));
        const Vec3 p = point + sun * t;
        light = std::min(light, 0.5F + 0.5F * (p.y - height(p.x, p.z)) / (softness * t + distance));
    }
    return smoothStep(0, 1, light);
}

/// Heights that are dear to work out, kept on a grid and read by smooth interpolation.
class HeightGrid {
public:
    template <class Height>
    HeightGrid(float minX, float maxX, float minZ, float maxZ, int columns, int rows, const Height& height)
        : minX_(minX),
          minZ_(minZ),
          stepX_((maxX - minX) / static_cast<float>(columns - 1)),
          stepZ_((maxZ - minZ) / static_cast<float>(rows - 1)),
          heights_(columns, rows) {
        parallelRows(rows, [&](int j) {
            for (int i = 0; i < columns; ++i) {
                heights_.row(j)[i] =
                    height(minX + stepX_ * static_cast<float>(i), minZ + stepZ_ * static_cast<float>(j));
            }
        });
    }

    [[nodiscard]] float operator()(float x, float z) const {
        const float px =
            std::min(std::max((x - minX_) / stepX_, 1.0F), static_cast<float>(heights_.width()) - 2.01F);
        const float pz =
            std::min(std::max((z - minZ_) / stepZ_, 1.0F), static_cast<float>(heights_.height()) - 2.01F);
        const int ix = static_cast<int>(px);
        const int iz = static_cast<int>(pz);
        const std::array<float, 4> wx = weights(px - static_cast<float>(ix));
        const std::array<float, 4> wz = weights(pz - static_cast<float>(iz));
        float sum = 0;
        for (int j = 0; j < 4; ++j) {
            const float* row = heights_.row(std::min(iz + j - 1, heights_.height() - 1)) + ix - 1;
            sum += wz[static_cast<std::size_t>(j)] *
                   (wx[0] * row[0] + wx[1] * row[1] + wx[2] * row[2] + wx[3] * row[3]);
        }
        return sum;
    }

private:
    /// Of a uniform cubic B-spline.
    static std::array<float, 4> weights(float t) {
        const float s = 1 - t;
        return {s * s * s / 6, (4 - 3 * t * t * (2 - t)) / 6, (4 - 3 * s * s * (2 - s)) / 6, t * t * t / 6};
    }

    float minX_;
    float minZ_;
    float stepX_;
    float stepZ_;
    Field heights_;
};

}  // namespace varnelle::painter
