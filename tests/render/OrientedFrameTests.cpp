#include "render/OrientedFrame.h"

#include <gtest/gtest.h>

namespace varnelle {
namespace {

TEST(OrientedFrame, TurnsEveryPlane) {
    // Luma counts the pixels of a 4 x 2 picture row by row from the top.
    VideoFrame frame = VideoFrame::allocate(PixelFormat::i420, 4, 2, ColorDescription::bt709Limited());
    for (int i = 0; i < 8; ++i) {
        frame.plane(0).data[i / 4 * frame.plane(0).bytesPerRow + i % 4] = static_cast<std::uint8_t>(i);
    }
    for (std::size_t p : {1U, 2U}) {
        for (int i = 0; i < 2; ++i)
            frame.plane(p).data[i] = static_cast<std::uint8_t>(10 * p + static_cast<unsigned>(i));
    }
    const auto luma = [](const VideoFrame& f) {
        std::vector<int> values;
        for (int y = 0; y < f.height(); ++y) {
            for (int x = 0; x < f.width(); ++x)
                values.push_back(f.plane(0).data[y * f.plane(0).bytesPerRow + x]);
        }
        return values;
    };
    // y grows upwards: (x, y) to (-y, x) is a quarter turn to the left.
    const VideoFrame left = orientedFrame(frame, {0, 1, -1, 0, 2, 0});
    EXPECT_EQ(left.width(), 2);
    EXPECT_EQ(luma(left), (std::vector<int>{3, 7, 2, 6, 1, 5, 0, 4}));
    EXPECT_EQ(left.plane(1).data[0], 11);
    EXPECT_EQ(left.plane(2).data[left.plane(2).bytesPerRow], 20);
    EXPECT_EQ(luma(orientedFrame(frame, {-1, 0, 0, -1, 4, 2})), (std::vector<int>{7, 6, 5, 4, 3, 2, 1, 0}));
    EXPECT_EQ(luma(orientedFrame(frame, {-1, 0, 0, 1, 4, 0})), (std::vector<int>{3, 2, 1, 0, 7, 6, 5, 4}));
    EXPECT_TRUE(orientedFrame(frame, {}).sharesStorage(frame));
    EXPECT_TRUE(orientedFrame(frame, {0.5, 0.5, -0.5, 0.5, 0, 0}).sharesStorage(frame));
}

}  // namespace
}  // namespace varnelle
