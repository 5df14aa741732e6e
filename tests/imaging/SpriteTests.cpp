#include "imaging/Sprite.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "foundation/Error.h"
#include "imaging/PNG.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

Bitmap square(int side) {
    Bitmap bitmap(side, side);
    fill(bitmap.view(), {1, 1, 1, 1});
    return bitmap;
}

TEST(Sprite, CoversItsScaledPlaceAndNothingElse) {
    for (const double scale : {0.1, 0.37, 1.0, 3.3}) {
        const Bitmap master = square(40);
        const CGPoint at{12.3, 14.8};
        const Sprite sprite(master.view(), scale, at, 400, 300);
        double area = 0;
        double moment = 0;
        for (int y = sprite.top(); y < sprite.bottom(); ++y) {
            for (int x = sprite.left(); x < sprite.right(); ++x) {
                const double alpha = sprite.row(y)[4 * (x - sprite.left()) + 3] / 255.0;
                area += alpha;
                moment += alpha * (x + 0.5);
            }
        }
        const double side = 40 * scale;
        EXPECT_NEAR(area, side * side, 0.02 * side * side + 0.1) << scale;
        EXPECT_NEAR(moment / area, at.x + side / 2, 0.02) << "placed between pixels, " << scale;
    }
}

TEST(Sprite, MakesOnlyWhatLiesOnTheCanvas) {
    const Bitmap master = square(40);
    const Sprite huge(master.view(), 1e6, {-1e7, -1e7}, 100, 50);
    EXPECT_EQ(huge.right() - huge.left(), 100);
    EXPECT_EQ(huge.bottom() - huge.top(), 50);
    EXPECT_EQ(huge.row(20)[4 * 30 + 3], 255);
    const Sprite beside(master.view(), 1, {500, 10}, 100, 50);
    EXPECT_EQ(beside.right(), beside.left());
}

TEST(Sprite, AveragesFinePatternsInsteadOfPickingSamples) {
    Bitmap master(64, 64);
    fill(master.view(), {0, 0, 0, 1});
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; x += 2) *master.view().pixel(x, y) = 255;
    }
    const Sprite sprite(master.view(), 1.0 / 6.4, {3, 3}, 100, 100);
    const std::uint8_t* row = sprite.row(8);
    for (int x = 5; x < 11; ++x) EXPECT_NEAR(row[4 * (x - sprite.left())], 127.5, 21);
}

TEST(PNG, RoundTripsPixelsAndNamesWhatItCantRead) {
    const test::TemporaryDirectory directory;
    Bitmap bitmap(5, 3);
    fill(bitmap.view(), {0.2, 0.4, 0.6, 1});
    bitmap.view().pixel(4, 2)[0] = 9;
    writePNG(bitmap.view(), directory.file("a.png"));
    const Bitmap read = readPNG(directory.file("a.png"));
    ASSERT_EQ(read.width(), 5);
    for (int y = 0; y < 3; ++y) EXPECT_EQ(0, std::memcmp(read.view().row(y), bitmap.view().row(y), 20));
    try {
        readPNG(directory.file("none.png"));
        FAIL();
    } catch (const Error& error) {
        EXPECT_NE(std::string(error.what()).find("none.png"), std::string::npos);
    }
}

}  // namespace
}  // namespace varnelle
