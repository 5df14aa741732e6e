#include "imaging/FloatImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace varnelle {
namespace {

TEST(FloatImage, LinearGradientRunsBetweenItsPoints) {
    FloatImage image(100, 50);
    paintLinearGradient(image, {20, 0}, {1, 0, 0, 1}, {80, 0}, {0, 0, 1, 1});
    EXPECT_EQ(image.row(10)[3 * 10], 1) << "constant before the first point";
    EXPECT_NEAR(image.row(10)[3 * 50], 1 - 30.5 / 60, 1e-6);
    EXPECT_EQ(image.row(10)[3 * 90 + 2], 1);
    // Upwards: the bottom row is nearest to the first point.
    paintLinearGradient(image, {0, 0}, {0, 0, 0, 1}, {0, 50}, {1, 1, 1, 1});
    EXPECT_NEAR(image.row(49)[0], 0.01, 1e-6);
    EXPECT_NEAR(image.row(0)[0], 0.99, 1e-6);
}

TEST(FloatImage, RadialGradientBlendsByItsMode) {
    const auto blended = [](BlendMode mode, double alpha) {
        FloatImage image(3, 3);
        paintLinearGradient(image, {0, 0}, {0.5, 0.5, 0.5, 1}, {1, 0}, {0.5, 0.5, 0.5, 1});
        blendRadialGradient(image, {1.5, 1.5}, 0.2, {0.8, 0.8, 0.8, alpha}, 1.2, {0, 0, 0, 0}, mode);
        return std::pair(image.row(1)[3], image.row(1)[6]);
    };
    EXPECT_NEAR(blended(BlendMode::normal, 1).first, 0.8, 1e-6);
    EXPECT_NEAR(blended(BlendMode::normal, 1).second, 0.2 * 0.8 + 0.8 * 0.5, 1e-6)
        << "a fifth of it one pixel off";
    EXPECT_NEAR(blended(BlendMode::screen, 0.5).first, 0.4 + 0.5 - 0.4 * 0.5, 1e-6);
    EXPECT_NEAR(blended(BlendMode::multiply, 1).first, 0.4, 1e-6);
}

TEST(FloatImage, GaussianBlurOfAStepIsTheErrorFunction) {
    for (const double sigma : {3.0, 30.0}) {
        FloatImage image(400, 40);
        for (int y = 0; y < 40; ++y) {
            for (int x = 200; x < 400; ++x) std::fill_n(image.row(y) + 3 * x, 3, 1.0F);
        }
        const FloatImage blurred = gaussianBlurred(image, sigma);
        for (int x = 0; x < 400; ++x) {
            const double expected = 0.5 * std::erfc(-(x + 0.5 - 200) / (sigma * std::sqrt(2.0)));
            ASSERT_NEAR(blurred.row(5)[3 * x], expected, 0.004) << "sigma " << sigma << " at " << x;
        }
    }
}

TEST(FloatImage, NoiseIsRepeatableFineAndWithoutBias) {
    FloatImage a(256, 256);
    paintLinearGradient(a, {0, 0}, {1, 1, 1, 1}, {1, 0}, {1, 1, 1, 1});
    FloatImage b = a;
    multiplyNoise(a, 0.18, 0.03, 0.985);
    multiplyNoise(b, 0.18, 0.03, 0.985);
    EXPECT_TRUE(std::equal(a.row(0), a.row(0) + 256 * 256 * 3, b.row(0)));
    double sum = 0;
    const auto [low, high] = std::minmax_element(a.row(0), a.row(0) + 256 * 256 * 3);
    for (int i = 0; i < 256 * 256; ++i) sum += a.row(0)[3 * i];
    EXPECT_NEAR(sum / (256 * 256), 1, 1e-4);
    EXPECT_NEAR(*low, 1 - 0.0027, 1e-4);
    EXPECT_NEAR(*high, 1 + 0.0027, 1e-4);
}

}  // namespace
}  // namespace varnelle
