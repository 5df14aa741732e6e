#include "imaging/Blending.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace varnelle {
namespace {

TEST(Blending, RoundsToTheNearestValue) {
    for (int source = 0; source < 256; source += 5) {
        for (int destination = 0; destination < 256; destination += 3) {
            for (int amount = 0; amount < 256; amount += 17) {
                std::vector<std::uint8_t> pixel(4, static_cast<std::uint8_t>(destination));
                const std::vector<std::uint8_t> picture(4, static_cast<std::uint8_t>(source));
                const auto coverage = static_cast<std::uint8_t>(amount);
                blendByCoverage(picture.data(), &coverage, 1, pixel.data());
                ASSERT_NEAR(pixel[0], (source * amount + destination * (255 - amount)) / 255.0, 0.501);

                const float share = static_cast<float>(amount) / 255.0F;
                darken(picture.data(), &share, 1, pixel.data());
                ASSERT_NEAR(pixel[2], source * share, 0.51);
                ASSERT_EQ(pixel[3], 255);
            }
        }
    }
    std::vector<std::uint8_t> pixel{10, 20, 30, 255};
    const std::vector<std::uint8_t> half{100, 0, 0, 128};
    compositeOver(half.data(), 1, pixel.data());
    EXPECT_EQ(pixel, (std::vector<std::uint8_t>{105, 10, 15, 255}));
}

}  // namespace
}  // namespace varnelle
