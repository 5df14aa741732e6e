#include "render/CanvasBackground.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <set>

namespace varnelle {
namespace {

/// A pixel's components as 0 to 255, red first; y counted from the bottom.
std::array<double, 3> pixelAt(const Bitmap& bitmap, double x, double y) {
    const std::uint8_t* p = bitmap.view().pixel(static_cast<int>(x * bitmap.width()),
                                                bitmap.height() - 1 - static_cast<int>(y * bitmap.height()));
    return {static_cast<double>(p[2]), static_cast<double>(p[1]), static_cast<double>(p[0])};
}

void expectPlain(const Bitmap& bitmap, int red, int green, int blue) {
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) {
            const std::uint8_t* p = bitmap.view().pixel(x, y);
            ASSERT_EQ((std::array<int, 4>{p[2], p[1], p[0], p[3]}),
                      (std::array<int, 4>{red, green, blue, 255}));
        }
    }
}

TEST(CanvasBackground, PlainWhereThereIsNoPicture) {
    using S = CanvasBackgroundStyle;
    expectPlain(paintCanvasBackground(S::none, "procedural://gradient/mint", 20, 10), 0, 0, 0);
    expectPlain(paintCanvasBackground(S::macOSWallpaper, "procedural://gradient/unknown", 20, 10), 23, 26,
                33);
    expectPlain(paintCanvasBackground(S::macOSWallpaper, "/nowhere/picture.jpg", 20, 10), 23, 26, 33);
}

TEST(CanvasBackground, GradientsShowTheirColoursAndAreRepeatable) {
    std::set<std::array<double, 3>> centres;
    for (const GradientWallpaper& wallpaper : gradientWallpapers()) {
        const auto picture = paintGradient(wallpaper.key, 320, 180);
        ASSERT_TRUE(picture) << wallpaper.key;
        centres.insert(pixelAt(*picture, 0.5, 0.5));
        const auto again = paintGradient(wallpaper.key, 320, 180);
        for (int y = 0; y < 180; ++y) {
            ASSERT_EQ(0, std::memcmp(picture->view().row(y), again->view().row(y), 320 * 4));
        }
        // The corners are darker than where the light stands.
        const auto corner = pixelAt(*picture, 0.001, 0.001);
        const auto light = pixelAt(*picture, 0.57, 0.58);
        EXPECT_LT(corner[0] + corner[1] + corner[2], light[0] + light[1] + light[2]) << wallpaper.key;
    }
    EXPECT_EQ(gradientWallpapers().size(), 10U);
    EXPECT_EQ(centres.size(), 10U);
    // Where only the first blob's core lies, its colour rules, lightened by what is screened onto it.
    const auto berry = pixelAt(*paintGradient("berry", 640, 360), 0.13, 0.24);
    EXPECT_GT(berry[0], 200);
    EXPECT_LT(berry[1], 120);
}

TEST(CanvasBackground, ScalesWithTheCanvas) {
    const auto small = paintGradient("prism", 320, 180);
    const auto large = paintGradient("prism", 960, 540);
    for (const double x : {0.1, 0.4, 0.7, 0.95}) {
        for (const double y : {0.1, 0.5, 0.9}) {
            const auto a = pixelAt(*small, x, y);
            const auto b = pixelAt(*large, x, y);
            for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(a.at(k), b.at(k), 6) << x << ", " << y;
        }
    }
}

}  // namespace
}  // namespace varnelle
