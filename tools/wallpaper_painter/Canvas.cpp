#include "wallpaper_painter/Canvas.h"

#include <atomic>
#include <thread>

namespace varnelle::painter {
namespace {

constexpr int kRowsAtATime = 8;

/// One pass along `count` values that lie `stride` apart, through a box of `2 * radius + 1`.
template <class Value>
void boxBlur(Value* values, std::size_t stride, int count, int radius, std::vector<Value>& line) {
    line.resize(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        line[static_cast<std::size_t>(i)] = values[static_cast<std::size_t>(i) * stride];
    const auto at = [&](int i) { return line[static_cast<std::size_t>(std::clamp(i, 0, count - 1))]; };
    Value sum{};
    for (int i = -radius; i <= radius; ++i) sum = sum + at(i);
    const float scale = 1 / static_cast<float>(2 * radius + 1);
    for (int i = 0; i < count; ++i) {
        values[static_cast<std::size_t>(i) * stride] = sum * scale;
        sum = sum + (at(i + radius + 1) - at(i - radius));
    }
}

template <class Value>
void blurInPlace(Raster<Value>& raster, float sigmaPixels) {
    // Three boxes of width w have the variance (w * w - 1) / 4.
    const int radius =
        std::max(1, static_cast<int>((std::sqrt(4 * sigmaPixels * sigmaPixels + 1) - 1) / 2 + 0.5F));
    parallelRows(raster.height(), [&](int y) {
        std::vector<Value> line;
        for (int pass = 0; pass < 3; ++pass) boxBlur(raster.row(y), 1, raster.width(), radius, line);
    });
    parallelRows(raster.width(), [&](int x) {
        std::vector<Value> line;
        for (int pass = 0; pass < 3; ++pass) {
            boxBlur(raster.row(0) + x, static_cast<std::size_t>(raster.width()), raster.height(), radius,
                    line);
        }
    });
}

template <class Value>
Raster<Value> halved(const Raster<Value>& source) {
    Raster<Value> result(std::max(source.width() / 2, 1), std::max(source.height() / 2, 1));
    parallelRows(result.height(), [&](int y) {
        const Value* upper = source.row(2 * y);
        const Value* lower = source.row(std::min(2 * y + 1, source.height() - 1));
        Value* output = result.row(y);
        for (int x = 0; x < result.width(); ++x) {
            const int right = std::min(2 * x + 1, source.width() - 1);
            output[x] = (upper[2 * x] + upper[right] + lower[2 * x] + lower[right]) * 0.25F;
        }
    });
    return result;
}

template <class Value>
Raster<Value> blurredRaster(const Raster<Value>& source, float sigma) {
    Raster<Value> work = source;
    // Some three pixels of deviation are enough for bilinear sampling to look smooth.
    while (sigma / work.pixel() > 6 && work.height() > 32) work = halved(work);
    blurInPlace(work, sigma / work.pixel());
    return work;
}

}  // namespace

void parallelRows(int count, const std::function<void(int)>& row) {
    std::atomic<int> next = 0;
    const auto work = [&] {
        for (int first = next.fetch_add(kRowsAtATime); first < count; first = next.fetch_add(kRowsAtATime)) {
            for (int y = first; y < std::min(first + kRowsAtATime, count); ++y) row(y);
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 1; i < std::thread::hardware_concurrency(); ++i) threads.emplace_back(work);
    work();
    for (std::thread& thread : threads) thread.join();
}

Canvas blurred(const Canvas& canvas, float sigma) {
    return blurredRaster(canvas, sigma);
}
Field blurred(const Field& field, float sigma) {
    return blurredRaster(field, sigma);
}

void addBloom(Canvas& canvas, float threshold, float sigma, float strength) {
    Canvas bright = halved(canvas);
    bright.repaint([&](Rgb c, float, float) {
        const float excess = std::max(luminance(c) - threshold, 0.0F);
        return c * (excess / (excess + 0.2F) * std::min(1.0F, 4 / (luminance(c) + 1e-4F)));
    });
    const Canvas glow = blurred(bright, sigma);
    canvas.repaint([&](Rgb c, float x, float y) { return c + glow.sample(x, y) * strength; });
}

}  // namespace varnelle::painter
