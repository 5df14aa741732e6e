#include "media/CameraPicture.h"

#include <gtest/gtest.h>

#include <vector>

namespace varnelle {
namespace {

using Format = CameraPictureFormat;

/// Bytes that tell their place.
std::vector<std::uint8_t> numbered(std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(16 + i * 7 % 200);
    return bytes;
}

int at(const VideoFrame& frame, std::size_t plane, int column, int row) {
    return frame.plane(plane).data[row * frame.plane(plane).bytesPerRow + column];
}

TEST(CameraPicture, KeepsLumaOfEveryLayoutAtOddSizesAndWithPadding) {
    for (const Format format : {Format::yuy2, Format::uyvy, Format::nv12, Format::i420, Format::gray}) {
        for (const auto& [width, height] : {std::pair{1, 1}, std::pair{7, 5}, std::pair{64, 48}}) {
            for (const int padding : {0, 12}) {
                SCOPED_TRACE(testing::Message()
                             << static_cast<int>(format) << " " << width << " " << padding);
                const bool isPacked = format == Format::yuy2 || format == Format::uyvy;
                const std::ptrdiff_t row = (isPacked ? (width + 1) / 2 * 4 : (width + 3) / 4 * 4) + padding;
                const auto bytes = numbered(cameraPictureByteCount(format, width, height, row));
                CameraPictureReader reader;
                const VideoFrame frame = reader.read({format, width, height, row, {}, bytes});
                ASSERT_FALSE(frame.isEmpty());
                EXPECT_EQ(frame.width(), width);
                EXPECT_EQ(frame.height(), height);
                EXPECT_EQ(frame.color().matrix, ColorDescription::Matrix::bt601);
                for (int y = 0; y < height; ++y) {
                    for (int x = 0; x < width; ++x) {
                        const int column = isPacked ? 2 * x + (format == Format::uyvy ? 1 : 0) : x;
                        ASSERT_EQ(at(frame, 0, x, y), bytes[static_cast<std::size_t>(y * row + column)]);
                    }
                }
            }
        }
    }
}

TEST(CameraPicture, KeepsColours) {
    // Two rows of two pixels, all of one colour: 200 red, 100 green, 50 blue.
    CameraPictureReader reader;
    const std::vector<std::uint8_t> rgb{200, 100, 50, 200, 100, 50, 200, 100, 50, 200, 100, 50};
    std::vector<std::uint8_t> bgr = rgb;
    for (std::size_t i = 0; i < bgr.size(); i += 3) std::swap(bgr[i], bgr[i + 2]);
    std::vector<std::uint8_t> rgbx, bgrx;
    for (std::size_t i = 0; i < rgb.size(); i += 3) {
        rgbx.insert(rgbx.end(), {rgb[i], rgb[i + 1], rgb[i + 2], 0});
        bgrx.insert(bgrx.end(), {bgr[i], bgr[i + 1], bgr[i + 2], 0});
    }
    struct Case {
        Format format;
        const std::vector<std::uint8_t>& bytes;
        std::ptrdiff_t bytesPerRow;
    };
    for (const Case& each : {Case{Format::rgb, rgb, 6}, Case{Format::bgr, bgr, 6},
                             Case{Format::rgbx, rgbx, 8}, Case{Format::bgrx, bgrx, 0}}) {
        const VideoFrame frame = reader.read({each.format, 2, 2, each.bytesPerRow, {}, each.bytes});
        ASSERT_EQ(frame.format(), PixelFormat::bgra);
        EXPECT_EQ(at(frame, 0, 4, 1), 50);
        EXPECT_EQ(at(frame, 0, 5, 1), 100);
        EXPECT_EQ(at(frame, 0, 6, 1), 200);
    }
    const std::vector<std::uint8_t> yuy2{90, 60, 90, 210, 90, 60, 90, 210};
    const VideoFrame frame = reader.read({Format::yuy2, 2, 2, 0, {}, yuy2});
    EXPECT_EQ(at(frame, 1, 0, 0), 60);
    EXPECT_EQ(at(frame, 2, 0, 0), 210);
}

TEST(CameraPicture, RefusesWhatIsCutOffOrDamaged) {
    CameraPictureReader reader;
    for (const Format format : {Format::bgrx, Format::rgb, Format::yuy2, Format::nv12, Format::i420}) {
        const std::size_t count = cameraPictureByteCount(format, 31, 17, 0);
        const auto bytes = numbered(count);
        EXPECT_FALSE(reader.read({format, 31, 17, 0, {}, bytes}).isEmpty());
        EXPECT_TRUE(reader.read({format, 31, 17, 0, {}, std::span(bytes).first(count - 1)}).isEmpty());
        EXPECT_TRUE(reader.read({format, 31, 17, 8, {}, bytes}).isEmpty()) << "rows shorter than the picture";
        EXPECT_TRUE(reader.read({format, 0, 17, 0, {}, bytes}).isEmpty());
    }
    const auto noise = numbered(1000);
    EXPECT_TRUE(reader.read({Format::mjpeg, 31, 17, 0, {}, noise}).isEmpty());
    EXPECT_TRUE(reader.read({Format::mjpeg, 31, 17, 0, {}, {}}).isEmpty());
}

}  // namespace
}  // namespace varnelle
