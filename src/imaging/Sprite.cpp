#include "imaging/Sprite.h"

#include <algorithm>
#include <cmath>

namespace varnelle {
namespace {

/// The source samples that one output pixel averages along an axis.
struct Footprint {
    int first = 0;
    std::vector<float> weights;
};

/// Footprints of the pixels `from` to `to`: each covers the stretch of samples under it, at least one sample
/// wide so that an enlargement interpolates.
std::vector<Footprint> footprints(int from, int to, double start, double scale, int sampleCount) {
    std::vector<Footprint> result;
    const double width = std::max(1 / scale, 1.0);
    for (int x = from; x < to; ++x) {
        const double center = (x + 0.5 - start) / scale;
        const double low = center - width / 2;
        const double high = center + width / 2;
        const int first = std::max(0, static_cast<int>(std::floor(low)));
        const int last = std::min(sampleCount - 1, static_cast<int>(std::ceil(high)) - 1);
        Footprint footprint{first, {}};
        for (int i = first; i <= last; ++i) {
            const double overlap = std::min<double>(i + 1, high) - std::max<double>(i, low);
            footprint.weights.push_back(static_cast<float>(std::max(overlap, 0.0) / width));
        }
        result.push_back(std::move(footprint));
    }
    return result;
}

}  // namespace

Sprite::Sprite(const BitmapView& master, double scale, CGPoint topLeft, int canvasWidth, int canvasHeight) {
    // An averaged edge fades over one output pixel, an interpolated one over one of the master's.
    const double fade = std::max(scale, 1.0) / 2;
    const auto onCanvas = [](double x, int limit) {
        return static_cast<int>(std::clamp<double>(x, 0, limit));
    };
    left_ = onCanvas(std::floor(topLeft.x - fade), canvasWidth);
    top_ = onCanvas(std::floor(topLeft.y - fade), canvasHeight);
    width_ = onCanvas(std::ceil(topLeft.x + scale * master.width + fade), canvasWidth) - left_;
    height_ = onCanvas(std::ceil(topLeft.y + scale * master.height + fade), canvasHeight) - top_;
    const auto columns = footprints(left_, right(), topLeft.x, scale, master.width);
    const auto rows = footprints(top_, bottom(), topLeft.y, scale, master.height);

    // Across first, for every row of the master, then down.
    const auto rowFloats = static_cast<std::size_t>(width_) * 4;
    std::vector<float> across(rowFloats * static_cast<std::size_t>(master.height), 0);
    for (int y = 0; y < master.height; ++y) {
        float* output = across.data() + rowFloats * static_cast<std::size_t>(y);
        for (std::size_t x = 0; x < columns.size(); ++x) {
            for (std::size_t i = 0; i < columns[x].weights.size(); ++i) {
                const std::uint8_t* pixel = master.pixel(columns[x].first + static_cast<int>(i), y);
                for (std::size_t k = 0; k < 4; ++k) output[4 * x + k] += columns[x].weights[i] * pixel[k];
            }
        }
    }
    pixels_.resize(rowFloats * static_cast<std::size_t>(height_));
    std::vector<float> sum(rowFloats);
    for (std::size_t y = 0; y < rows.size(); ++y) {
        std::fill(sum.begin(), sum.end(), 0.0F);
        for (std::size_t i = 0; i < rows[y].weights.size(); ++i) {
            const float* input = across.data() + rowFloats * (static_cast<std::size_t>(rows[y].first) + i);
            for (std::size_t k = 0; k < rowFloats; ++k) sum[k] += rows[y].weights[i] * input[k];
        }
        for (std::size_t k = 0; k < rowFloats; ++k) {
            pixels_[y * rowFloats + k] = static_cast<std::uint8_t>(std::min(sum[k] + 0.5F, 255.0F));
        }
    }
}

const std::uint8_t* Sprite::row(int y) const {
    return pixels_.data() + static_cast<std::size_t>(y - top_) * static_cast<std::size_t>(width_) * 4;
}

}  // namespace varnelle
