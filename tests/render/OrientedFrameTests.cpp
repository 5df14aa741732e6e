#include "render/OrientedFrame.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "foundation/AtomicFile.h"
#include "media/FrameSource.h"
#include "media/MediaAsset.h"
#include "support/MediaFixtures.h"
#include "support/TemporaryDirectory.h"
#include "support/XServer.h"

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

/// Turned by the tag that cameras write, a picture is what another program makes of it.
TEST(OrientedFrame, TurnsMoviesAsTheirContainerSays) {
    const test::TemporaryDirectory directory;
    const URL upright = directory.file("upright.mov");
    test::writeNumberedMovie(upright, test::smallVideo(64, 48), test::regularTimes(4, 30));
    for (const std::string degrees : {"0", "90", "180", "270"}) {
        SCOPED_TRACE(degrees);
        const URL turned = directory.file("turned.mov");
        const URL decoded = directory.file("decoded.gray");
        test::ChildProcess tag({"ffmpeg", "-v", "error", "-y", "-i", upright.string(), "-c", "copy",
                                "-metadata:s:v:0", "rotate=" + degrees, turned.string()});
        ASSERT_EQ(tag.waitForEnd(), 0);
        test::ChildProcess decode({"ffmpeg", "-v", "error", "-y", "-i", turned.string(), "-frames:v", "1",
                                   "-pix_fmt", "yuv420p", "-f", "rawvideo", decoded.string()});
        ASSERT_EQ(decode.waitForEnd(), 0);
        const std::string expected = readFile(decoded);

        const auto asset = std::make_shared<const MediaAsset>(turned);
        const MediaTrack track = asset->tracks(MediaType::video).at(0);
        FrameSource source(asset, track);
        const auto stored = source.frame(kCMTimeZero);
        ASSERT_TRUE(stored.has_value());
        const VideoFrame shown = orientedFrame(*stored, track.preferredTransform);
        const bool isUpright = degrees == "0" || degrees == "180";
        ASSERT_EQ(shown.width(), isUpright ? 64 : 48);
        ASSERT_EQ(shown.height(), isUpright ? 48 : 64);
        for (int y = 0; y < shown.height(); ++y) {
            for (int x = 0; x < shown.width(); ++x) {
                const int ours = shown.plane(0).data[y * shown.plane(0).bytesPerRow + x];
                const int theirs =
                    static_cast<std::uint8_t>(expected.at(static_cast<std::size_t>(y * shown.width() + x)));
                ASSERT_NEAR(ours, theirs, 1) << x << ", " << y;
            }
        }
    }
}

}  // namespace
}  // namespace varnelle
