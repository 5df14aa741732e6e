#include "media/detail/ColorConversion.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

#include "support/MediaFixtures.h"

namespace varnelle {
namespace {

VideoFrame i420(int width, int height) {
    return VideoFrame::allocate(PixelFormat::i420, width, height, ColorDescription::bt709Limited());
}

std::array<int, 3> converted(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    const VideoFrame target = i420(64, 2);
    detail::convertBGRAToI420(test::plainPicture(64, 2, blue, green, red), target);
    return {target.plane(0).data[63], target.plane(1).data[31], target.plane(2).data[31]};
}

TEST(ColorConversion, GivesTheStandardsValuesForKnownColors) {
    const struct {
        std::array<std::uint8_t, 3> rgb;
        std::array<int, 3> yuv;
    } cases[] = {
        {{0, 0, 0}, {16, 128, 128}},     {{255, 255, 255}, {235, 128, 128}},
        {{255, 0, 0}, {63, 102, 240}},   {{0, 255, 0}, {173, 42, 26}},
        {{0, 0, 255}, {32, 240, 118}},   {{128, 128, 128}, {126, 128, 128}},
        {{255, 255, 0}, {219, 16, 138}}, {{0, 255, 255}, {188, 154, 16}},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(converted(test.rgb[0], test.rgb[1], test.rgb[2]), test.yuv)
            << int(test.rgb[0]) << " " << int(test.rgb[1]) << " " << int(test.rgb[2]);
    }
}

TEST(ColorConversion, EveryGreyIsWithoutTint) {
    for (int grey = 0; grey < 256; ++grey) {
        const auto value = static_cast<std::uint8_t>(grey);
        const int luma = static_cast<int>(std::lround(16 + grey * 219 / 255.0));
        EXPECT_EQ(converted(value, value, value), (std::array<int, 3>{luma, 128, 128})) << grey;
    }
}

TEST(ColorConversion, AgreesWithItsPlainFormOnOddSizesAndUnalignedRows) {
    std::mt19937 random(7);
    for (const auto& [width, height] : {std::pair{1, 1},
                                        {2, 1},
                                        {1, 3},
                                        {7, 5},
                                        {16, 2},
                                        {31, 3},
                                        {33, 4},
                                        {63, 7},
                                        {65, 2},
                                        {130, 9},
                                        {257, 3}}) {
        // Rows start at odd distances from the alignment of the allocation.
        VideoFrame storage =
            VideoFrame::allocate(PixelFormat::bgra, width + 3, height, ColorDescription::sRGB());
        const Plane rows = storage.plane(0);
        const VideoFrame source(PixelFormat::bgra, width, height, {Plane{rows.data + 4, rows.bytesPerRow}},
                                ColorDescription::sRGB(), storage.storage());
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width * 4; ++x) {
                const auto value = random();
                source.plane(0).data[y * rows.bytesPerRow + x] =
                    static_cast<std::uint8_t>(value % 4 == 0   ? 255
                                              : value % 4 == 1 ? 0
                                                               : value >> 8);
            }
        }
        const VideoFrame actual = i420(width, height);
        const VideoFrame expected = i420(width, height);
        detail::convertBGRAToI420(source, actual);
        detail::convertBGRAToI420Scalar(source, expected);
        for (std::size_t plane = 0; plane < 3; ++plane) {
            const int columns = plane == 0 ? width : (width + 1) / 2;
            const int lines = plane == 0 ? height : (height + 1) / 2;
            for (int y = 0; y < lines; ++y) {
                for (int x = 0; x < columns; ++x) {
                    const auto at = y * actual.plane(plane).bytesPerRow + x;
                    ASSERT_EQ(actual.plane(plane).data[at], expected.plane(plane).data[at])
                        << width << "x" << height << " plane " << plane << " at " << x << "," << y;
                }
            }
        }
    }
}

TEST(ColorConversion, ChromaIsTheMeanOfFourPixels) {
    VideoFrame source = test::plainPicture(2, 2, 0, 0, 0);
    source.plane(0).data[2] = 255;  // one red pixel of four
    const VideoFrame target = i420(2, 2);
    detail::convertBGRAToI420(source, target);
    EXPECT_EQ(target.plane(0).data[0], 63);
    EXPECT_EQ(target.plane(0).data[1], 16);
    EXPECT_EQ(target.plane(2).data[0], 128 + 28);
    EXPECT_EQ(target.plane(1).data[0], 128 - 6);
}

}  // namespace
}  // namespace varnelle
