#include "imaging/FloatImage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace varnelle {
namespace {

/// Blurs wider than this many pixels run on a reduced picture; they leave nothing that the reduction could
/// lose.
constexpr double kLargestDirectSigma = 8;

using Components = std::array<float, 4>;  // premultiplied red, green, blue, alpha

Components premultiplied(const Color& color) {
    return {static_cast<float>(color.red * color.alpha), static_cast<float>(color.green * color.alpha),
            static_cast<float>(color.blue * color.alpha), static_cast<float>(color.alpha)};
}

void blendPixel(float* pixel, const Components& source, BlendMode mode) {
    const float rest = 1 - source[3];
    for (std::size_t k = 0; k < 3; ++k) {
        switch (mode) {
            case BlendMode::normal:
                pixel[k] = source[k] + pixel[k] * rest;
                break;
            case BlendMode::screen:
                pixel[k] = source[k] + pixel[k] - source[k] * pixel[k];
                break;
            case BlendMode::multiply:
                pixel[k] = source[k] * pixel[k] + pixel[k] * rest;
                break;
        }
    }
}

std::vector<float> gaussianWeights(double sigma) {
    const int reach = std::max(1, static_cast<int>(std::ceil(3.5 * sigma)));
    std::vector<float> weights;
    double sum = 0;
    for (int i = -reach; i <= reach; ++i) sum += std::exp(-0.5 * i * i / (sigma * sigma));
    for (int i = -reach; i <= reach; ++i) {
        weights.push_back(static_cast<float>(std::exp(-0.5 * i * i / (sigma * sigma)) / sum));
    }
    return weights;
}

FloatImage blurredDirectly(const FloatImage& image, double sigma) {
    const std::vector<float> weights = gaussianWeights(sigma);
    const int reach = static_cast<int>(weights.size() / 2);
    const int rowFloats = image.width() * 3;
    FloatImage down(image.width(), image.height());
    for (int y = 0; y < image.height(); ++y) {
        float* output = down.row(y);
        for (int i = -reach; i <= reach; ++i) {
            const float weight = weights[static_cast<std::size_t>(i + reach)];
            const float* input = image.row(std::clamp(y + i, 0, image.height() - 1));
            for (int k = 0; k < rowFloats; ++k) output[k] += weight * input[k];
        }
    }
    FloatImage result(image.width(), image.height());
    std::vector<float> padded(static_cast<std::size_t>(rowFloats + 6 * reach));
    for (int y = 0; y < image.height(); ++y) {
        const float* input = down.row(y);
        for (int x = -reach; x < image.width() + reach; ++x) {
            const float* pixel = input + 3 * std::clamp(x, 0, image.width() - 1);
            std::copy(pixel, pixel + 3, padded.begin() + 3 * (x + reach));
        }
        float* output = result.row(y);
        for (int i = 0; i <= 2 * reach; ++i) {
            const float weight = weights[static_cast<std::size_t>(i)];
            const float* shifted = padded.data() + 3 * i;
            for (int k = 0; k < rowFloats; ++k) output[k] += weight * shifted[k];
        }
    }
    return result;
}

/// Every `factor` x `factor` pixels averaged to one.
FloatImage reduced(const FloatImage& image, int factor) {
    FloatImage result((image.width() + factor - 1) / factor, (image.height() + factor - 1) / factor);
    for (int y = 0; y < result.height(); ++y) {
        const int rows = std::min(factor, image.height() - y * factor);
        for (int x = 0; x < result.width(); ++x) {
            const int columns = std::min(factor, image.width() - x * factor);
            std::array<float, 3> sum{};
            for (int j = 0; j < rows; ++j) {
                const float* pixel = image.row(y * factor + j) + std::ptrdiff_t{3} * x * factor;
                for (int i = 0; i < columns * 3; ++i) sum.at(static_cast<std::size_t>(i % 3)) += pixel[i];
            }
            for (std::size_t k = 0; k < 3; ++k) {
                result.row(y)[3 * x + static_cast<int>(k)] = sum.at(k) / static_cast<float>(rows * columns);
            }
        }
    }
    return result;
}

/// Bilinear enlargement of what `reduced` gave back to the size before.
FloatImage enlarged(const FloatImage& image, int factor, int width, int height) {
    FloatImage result(width, height);
    const auto place = [factor](int i, int limit) {
        const double position = std::clamp((i + 0.5) / factor - 0.5, 0.0, static_cast<double>(limit - 1));
        return std::pair(static_cast<int>(position), static_cast<float>(position - std::floor(position)));
    };
    for (int y = 0; y < height; ++y) {
        const auto [top, down] = place(y, image.height());
        const float* upper = image.row(top);
        const float* lower = image.row(std::min(top + 1, image.height() - 1));
        for (int x = 0; x < width; ++x) {
            const auto [left, across] = place(x, image.width());
            const int right = std::min(left + 1, image.width() - 1);
            for (int k = 0; k < 3; ++k) {
                const float a = upper[3 * left + k] + across * (upper[3 * right + k] - upper[3 * left + k]);
                const float b = lower[3 * left + k] + across * (lower[3 * right + k] - lower[3 * left + k]);
                result.row(y)[3 * x + k] = a + down * (b - a);
            }
        }
    }
    return result;
}

/// Uniform noise of 0 to 1 from a pixel's place (the finaliser of MurmurHash3).
float noiseAt(int x, int y) {
    std::uint32_t h =
        static_cast<std::uint32_t>(x) * 0x9E3779B1U ^ (static_cast<std::uint32_t>(y) * 0x85EBCA77U);
    h ^= h >> 16;
    h *= 0x85EBCA6BU;
    h ^= h >> 13;
    h *= 0xC2B2AE35U;
    h ^= h >> 16;
    return static_cast<float>(h >> 8) / 16777216.0F;
}

}  // namespace

FloatImage::FloatImage(int widthPixels, int heightPixels)
    : width_(widthPixels),
      height_(heightPixels),
      values_(static_cast<std::size_t>(widthPixels) * static_cast<std::size_t>(heightPixels) * 3) {}

Bitmap FloatImage::bitmap() const {
    Bitmap result(width_, height_);
    for (int y = 0; y < height_; ++y) {
        const float* input = row(y);
        std::uint8_t* output = result.view().row(y);
        for (int x = 0; x < width_; ++x) {
            for (int k = 0; k < 3; ++k) {
                output[4 * x + 2 - k] =
                    static_cast<std::uint8_t>(std::clamp(input[3 * x + k], 0.0F, 1.0F) * 255.0F + 0.5F);
            }
            output[4 * x + 3] = 255;
        }
    }
    return result;
}

void paintLinearGradient(FloatImage& image, CGPoint point0, const Color& color0, CGPoint point1,
                         const Color& color1) {
    const double dx = point1.x - point0.x;
    const double dy = point1.y - point0.y;
    const double lengthSquared = std::max(dx * dx + dy * dy, 1e-12);
    const Components a = premultiplied(color0);
    const Components b = premultiplied(color1);
    for (int y = 0; y < image.height(); ++y) {
        const double fromBottom = image.height() - y - 0.5;
        for (int x = 0; x < image.width(); ++x) {
            const double along = ((x + 0.5 - point0.x) * dx + (fromBottom - point0.y) * dy) / lengthSquared;
            const auto f = static_cast<float>(std::clamp(along, 0.0, 1.0));
            for (std::size_t k = 0; k < 3; ++k)
                image.row(y)[3 * x + static_cast<int>(k)] = a[k] + f * (b[k] - a[k]);
        }
    }
}

void blendRadialGradient(FloatImage& image, CGPoint center, double radius0, const Color& color0,
                         double radius1, const Color& color1, BlendMode mode) {
    const Components a = premultiplied(color0);
    const Components b = premultiplied(color1);
    const double span = std::max(radius1 - radius0, 1e-9);
    for (int y = 0; y < image.height(); ++y) {
        const double dy = image.height() - y - 0.5 - center.y;
        float* row = image.row(y);
        for (int x = 0; x < image.width(); ++x) {
            const double dx = x + 0.5 - center.x;
            const double distance = std::sqrt(dx * dx + dy * dy);
            const auto f = static_cast<float>(std::clamp((distance - radius0) / span, 0.0, 1.0));
            Components source;
            for (std::size_t k = 0; k < 4; ++k) source[k] = a[k] + f * (b[k] - a[k]);
            blendPixel(row + 3 * x, source, mode);
        }
    }
}

FloatImage gaussianBlurred(const FloatImage& image, double sigma) {
    if (sigma <= kLargestDirectSigma) return blurredDirectly(image, sigma);
    const int factor = static_cast<int>(std::ceil(sigma / kLargestDirectSigma));
    // Averaging and enlarging blur as well: a box and a triangle of the factor's width, by their variances.
    const double variance = sigma * sigma - (1.0 / 12 + 1.0 / 6) * factor * factor;
    const FloatImage small = blurredDirectly(reduced(image, factor), std::sqrt(variance) / factor);
    return enlarged(small, factor, image.width(), image.height());
}

void blendScreen(FloatImage& image, const FloatImage& layer, double gain) {
    const auto factor = static_cast<float>(gain);
    for (int y = 0; y < image.height(); ++y) {
        float* pixels = image.row(y);
        const float* source = layer.row(y);
        for (int k = 0; k < image.width() * 3; ++k) pixels[k] += source[k] * factor * (1 - pixels[k]);
    }
}

void multiplyNoise(FloatImage& image, double contrast, double gain, double bias) {
    for (int y = 0; y < image.height(); ++y) {
        float* pixels = image.row(y);
        for (int x = 0; x < image.width(); ++x) {
            const double grey = 0.5 + (noiseAt(x, y) - 0.5) * contrast;
            const auto factor = static_cast<float>(bias + gain * grey);
            for (int k = 3 * x; k < 3 * x + 3; ++k) pixels[k] *= factor;
        }
    }
}

}  // namespace varnelle
