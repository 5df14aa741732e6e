#include "render/FramePainter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "imaging/ShadowField.h"
#include "render/CanvasBackground.h"

namespace varnelle {
namespace {

/// A BGRA frame in one colour.
VideoFrame plainFrame(int width, int height, std::uint8_t blue, std::uint8_t green, std::uint8_t red) {
    VideoFrame frame = VideoFrame::allocate(PixelFormat::bgra, width, height, ColorDescription::sRGB());
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint8_t* p = frame.plane(0).data + y * frame.plane(0).bytesPerRow + 4 * x;
            p[0] = blue;
            p[1] = green;
            p[2] = red;
            p[3] = 255;
        }
    }
    return frame;
}

FramePlan planFor(CGSize canvas, const CGRect& screenRect) {
    FramePlan plan;
    plan.canvas = canvas;
    plan.backgroundStyle = CanvasBackgroundStyle::macOSWallpaper;
    plan.wallpaperPath = "procedural://gradient/none";  // the plain fallback colour: 23, 26, 33
    plan.screenRect = screenRect;
    plan.hasMask = true;
    return plan;
}

Bitmap painted(FramePainter& painter, const FramePlan& plan, const VideoFrame& screen,
               const VideoFrame& camera = {}) {
    Bitmap output(static_cast<int>(plan.canvas.width), static_cast<int>(plan.canvas.height));
    painter.paint(plan, screen, camera, output.view());
    return output;
}

int green(const Bitmap& bitmap, int x, int yFromBottom) {
    return bitmap.view().pixel(x, bitmap.height() - 1 - yFromBottom)[1];
}

TEST(FramePainter, PutsTheScreenWhereThePlanSays) {
    FramePainter painter;
    // Canvas y grows upwards: the screen covers 10.5 to 40.5 from the bottom.
    const FramePlan plan = planFor({100, 60}, {{20.25, 10.5}, {50, 30}});
    const Bitmap picture = painted(painter, plan, plainFrame(64, 48, 0, 200, 0));
    EXPECT_EQ(green(picture, 45, 25), 200);
    EXPECT_EQ(green(picture, 45, 5), 26);
    EXPECT_EQ(green(picture, 45, 41), 26);
    EXPECT_EQ(green(picture, 45, 11), 200);
    EXPECT_NEAR(green(picture, 45, 10), 113, 1) << "half covered from above";
    EXPECT_NEAR(green(picture, 45, 40), 113, 1);
    EXPECT_NEAR(green(picture, 20, 25), 26 + 0.75 * 174, 1.5);
    EXPECT_NEAR(green(picture, 70, 25), 26 + 0.25 * 174, 1.5);
}

TEST(FramePainter, CutsTheCornersAndWhatReachesBeyondTheCanvas) {
    FramePainter painter;
    FramePlan plan = planFor({100, 60}, {{10, 10}, {60, 40}});
    plan.cornerRadius = 12;
    Bitmap picture = painted(painter, plan, plainFrame(60, 40, 0, 200, 0));
    EXPECT_EQ(green(picture, 10, 10), 26);
    EXPECT_EQ(green(picture, 69, 49), 26);
    EXPECT_EQ(green(picture, 22, 10), 200);
    plan.screenRect = {{-500, -300}, {1000, 700}};
    picture = painted(painter, plan, plainFrame(60, 40, 0, 200, 0));
    for (const int x : {0, 50, 99}) EXPECT_EQ(green(picture, x, 0), 200);
    plan.screenRect = {{-500, -300}, {100, 100}};
    EXPECT_EQ(green(painted(painter, plan, plainFrame(60, 40, 0, 200, 0)), 0, 0), 26)
        << "nothing of it is left";
}

TEST(FramePainter, StopsWhereItIsNoLongerWanted) {
    FramePlan plan = planFor({320, 200}, {{60, 50}, {200, 100}});
    plan.shadow = FramePlan::Shadow{0.5, 12, 1};
    for (const bool isStill : {false, true}) {
        plan.isShadowStill = isStill;
        const VideoFrame screen = plainFrame(64, 36, 90, 90, 90);
        const auto rowsAfter = [&](FramePainter& painter, int answers) {
            Bitmap output(320, 200);
            fill(output.view(), {0, 0, 0, 0});
            const bool isWhole =
                painter.paint(plan, screen, {}, output.view(), [&] { return answers-- > 0; });
            int rows = 0;
            while (rows < 200 && output.view().pixel(0, rows)[3] == 255) ++rows;
            EXPECT_EQ(isWhole, rows == 200);
            return rows;
        };
        FramePainter painter;
        EXPECT_EQ(rowsAfter(painter, 0), 0) << "as soon as the background stands";
        EXPECT_EQ(rowsAfter(painter, 1), 0) << "before the first row, or while the shadow is laid on";
        EXPECT_EQ(rowsAfter(painter, 1'000), 200) << "what was given up isn't kept as it is";
        const int rows = rowsAfter(painter, 4);
        EXPECT_GT(rows, 0);
        EXPECT_LT(rows, 200);
        const Bitmap whole = painted(painter, plan, screen);
        FramePainter fresh;
        const Bitmap expected = painted(fresh, plan, screen);
        EXPECT_EQ(std::memcmp(whole.view().row(0), expected.view().row(0), std::size_t{320} * 200 * 4), 0);
    }
}

TEST(FramePainter, ShadowLooksTheSameKeptAndMoving) {
    FramePainter painter;
    FramePlan plan = planFor({320, 200}, {{60.4, 50.2}, {200, 112}});
    plan.wallpaperPath = "procedural://gradient/peach";
    plan.cornerRadius = 14;
    plan.shadow = FramePlan::Shadow{0.5, 12, 1};
    plan.isShadowStill = true;
    const VideoFrame screen = plainFrame(64, 36, 90, 90, 90);
    const Bitmap still = painted(painter, plan, screen);
    plan.isShadowStill = false;
    const Bitmap moving = painted(painter, plan, screen);
    const Bitmap background =
        CanvasBackground().backgroundLayer(plan.backgroundStyle, plan.wallpaperPath, {320, 200});
    ShadowField shadow({{60.4, 200 - 50.2 - 112}, {200, 112}}, 14, 0.5, 12, 320, 200);
    std::vector<float> share(320);
    shadow.row(160, 0, 320, share.data());
    for (int y = 0; y < 200; ++y) {
        for (int x = 0; x < 320 * 4; ++x)
            ASSERT_EQ(still.view().row(y)[x], moving.view().row(y)[x]) << x / 4 << ", " << y;
    }
    for (int x = 0; x < 320; x += 7) {
        EXPECT_NEAR(still.view().pixel(x, 160)[2],
                    background.view().pixel(x, 160)[2] * share[static_cast<std::size_t>(x)], 0.6);
    }
}

/// A camera picture, twice as wide as high, with green 200 on its left half and 60 on its right.
VideoFrame cameraPicture() {
    VideoFrame frame = plainFrame(128, 64, 0, 200, 0);
    for (int y = 0; y < 64; ++y) {
        for (int x = 64; x < 128; ++x) frame.plane(0).data[y * frame.plane(0).bytesPerRow + 4 * x + 1] = 60;
    }
    return frame;
}

TEST(FramePainter, AScaledPlanIsTheSamePicture) {
    // The smaller the shadow's radius, the more its layers are held by their least sizes.
    for (const double radius : {1.0, 3.0, 12.0}) {
        FramePlan plan = planFor({320, 240}, {{60, 60}, {200, 120}});
        plan.cornerRadius = 12;
        plan.shadow = FramePlan::Shadow{0.5, radius, 1};
        plan.bubble = FramePlan::Bubble{{{180, 40}, {80, 80}}, 40, false, FramePlan::Shadow{0.5, radius, 1}};
        const VideoFrame screen = plainFrame(64, 36, 200, 200, 200);
        FramePainter painter;
        const Bitmap half = painted(painter, scaled(plan, 0.5), screen, screen);
        const Bitmap whole = painted(painter, plan, screen, screen);
        ASSERT_EQ(half.width(), 160);
        double sum = 0;
        for (int y = 0; y < 120; ++y) {
            for (int x = 0; x < 160; ++x) {
                const auto at = [&](int dx, int dy) { return whole.view().pixel(2 * x + dx, 2 * y + dy)[1]; };
                const double mean = (at(0, 0) + at(1, 0) + at(0, 1) + at(1, 1)) / 4.0;
                // Steep places differ a little: a pixel's middle isn't the mean of its quarters.
                ASSERT_NEAR(half.view().pixel(x, y)[1], mean, 12) << radius << " at " << x << ", " << y;
                sum += std::abs(half.view().pixel(x, y)[1] - mean);
            }
        }
        EXPECT_LT(sum / (160 * 120), 0.15) << radius;
    }
}

TEST(FramePainter, BubbleShowsTheMiddleOfTheCameraAboveAll) {
    FramePainter painter;
    FramePlan plan = planFor({200, 120}, {{20, 20}, {160, 80}});
    const VideoFrame screen = plainFrame(64, 48, 0, 100, 0);
    plan.bubble = FramePlan::Bubble{{{10.25, 70.5}, {40, 40}}, 0, false, std::nullopt, true};
    for (const bool isMirrored : {false, true}) {
        plan.bubble->isMirrored = isMirrored;
        const Bitmap picture = painted(painter, plan, screen, cameraPicture());
        const int left = isMirrored ? 60 : 200;
        const int right = isMirrored ? 200 : 60;
        EXPECT_EQ(green(picture, 12, 90), left);
        EXPECT_EQ(green(picture, 28, 90), left);
        EXPECT_EQ(green(picture, 33, 90), right);
        EXPECT_EQ(green(picture, 48, 90), right) << "over the screen as over the background";
        EXPECT_NEAR(green(picture, 10, 90), 0.75 * left + 0.25 * 26, 1) << "edges lie between pixels";
        EXPECT_NEAR(green(picture, 50, 75), 0.25 * right + 0.75 * 100, 1);
        EXPECT_NEAR(green(picture, 20, 70), (left + 100) / 2.0, 1);
        EXPECT_EQ(green(picture, 20, 111), 26);
    }
    EXPECT_EQ(green(painted(painter, plan, screen), 28, 90), 100) << "a frame without a camera picture";
    for (const CGRect& rect : {CGRect{{-30, -30}, {60, 60}}, CGRect{{190, 100}, {60, 60}},
                               CGRect{{500, 500}, {60, 60}}, CGRect{{-1e6, -1e6}, {3e6, 3e6}}}) {
        plan.bubble->rect = rect;
        plan.bubble->cornerRadius = rect.width() / 2;
        plan.bubble->shadow = FramePlan::Shadow{0.5, rect.width() / 4, 1};
        static_cast<void>(painted(painter, plan, screen, cameraPicture()));
    }
}

TEST(FramePainter, DrawsOnCanvasesOfAnySize) {
    FramePainter painter;
    const VideoFrame screen = plainFrame(64, 48, 0, 100, 0);
    for (const CGSize& canvas :
         {CGSize{2, 2}, CGSize{3, 7}, CGSize{8192, 2}, CGSize{2, 8192}, CGSize{8192, 300}}) {
        OverlayConfiguration look;
        look.wallpaperPath = "procedural://gradient/none";
        for (const double progress : {0.0, 1.0}) {
            FramePlanInput input;
            input.canvas = canvas;
            input.sourceSize = {64, 48};
            input.configuration = &look;
            input.hasCameraFrame = true;
            input.cursorState.visibility = CursorVisibility::visible;
            input.cursorState.position = {0.5, 0.5};
            input.cursorState.clickScale = 1;
            input.captureRegion = {0, 0, 64, 48};
            input.zoomPanState.isEmpty = false;
            input.zoomPanState.phase = ZoomPanPhase::holding;
            input.zoomPanState.progress = progress;
            input.snapshot = SmoothingCameraSnapshot{{0.2, 0.9}, 3};
            const Bitmap picture = painted(painter, makeFramePlan(input), screen, cameraPicture());
            EXPECT_EQ(picture.view().pixel(picture.width() - 1, picture.height() - 1)[3], 255);
        }
    }
}

TEST(FramePainter, ARoundBubbleCoversTheAreaOfACircle) {
    FramePainter painter;
    FramePlan plan = planFor({120, 120}, {{200, 0}, {10, 10}});  // background alone: green 26
    plan.bubble = FramePlan::Bubble{{{20.3, 30.6}, {64, 64}}, 32, true, std::nullopt, true};
    const Bitmap picture = painted(painter, plan, plainFrame(4, 4, 0, 0, 0), plainFrame(8, 8, 0, 226, 0));
    double area = 0;
    for (int y = 0; y < 120; ++y) {
        for (int x = 0; x < 120; ++x) {
            const double coverage = (green(picture, x, y) - 26) / 200.0;
            const double distance = std::hypot(x + 0.5 - 52.3, y + 0.5 - 62.6);
            EXPECT_TRUE(distance >= 31.2 || coverage == 1) << x << ", " << y;
            EXPECT_TRUE(distance <= 32.8 || coverage == 0) << x << ", " << y;
            area += coverage;
        }
    }
    EXPECT_NEAR(area, M_PI * 32 * 32, 2);
}

TEST(FramePainter, BubblesShadowFallsOnEverything) {
    FramePainter painter;
    const CGRect rect{{60, 80}, {70, 70}};
    FramePlan plan = planFor({240, 240}, {{20, 20}, {200, 200}});
    const VideoFrame screen = plainFrame(64, 64, 0, 200, 0);
    const Bitmap without = painted(painter, plan, screen);
    ShadowField shadow({{60, 240 - 150}, rect.size}, 35, 0.5, 14, 240, 240);
    std::vector<float> share(240);
    for (const bool isStill : {true, true, false}) {  // built, kept, and built for this frame alone
        plan.bubble = FramePlan::Bubble{rect, 35, false, FramePlan::Shadow{0.5, 14, 1}, isStill};
        const Bitmap picture = painted(painter, plan, screen, plainFrame(8, 8, 0, 255, 0));
        for (int y = 0; y < 240; ++y) {
            shadow.row(239 - y, 0, 240, share.data());
            for (int x = 0; x < 240; ++x) {
                if (std::hypot(x + 0.5 - 95, y + 0.5 - 115) < 36) continue;
                ASSERT_NEAR(green(picture, x, y), green(without, x, y) * share[static_cast<std::size_t>(x)],
                            0.7)
                    << x << ", " << y;
            }
        }
    }
}

/// Where the differences between two pictures lie, in pixels, y from the bottom.
struct Difference {
    CGPoint low{1e9, 1e9};
    CGPoint high{-1, -1};
};

Difference differenceOf(const Bitmap& a, const Bitmap& b) {
    Difference difference;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            if (std::abs(green(a, x, y) - green(b, x, y)) < 64) continue;
            difference.low = {std::min<double>(difference.low.x, x), std::min<double>(difference.low.y, y)};
            difference.high = {std::max<double>(difference.high.x, x + 1),
                               std::max<double>(difference.high.y, y + 1)};
        }
    }
    return difference;
}

TEST(FramePainter, CursorsTipLiesOnItsSpot) {
    FramePainter painter;
    FramePlan plan = planFor({400, 300}, {{0, 0}, {400, 300}});
    const VideoFrame screen = plainFrame(64, 48, 0, 200, 0);
    const Bitmap without = painted(painter, plan, screen);
    for (const double scale : {1.0, 2.77, 5.0}) {
        plan.cursor = FramePlan::Cursor{CursorShape::arrow, {150.5, 200.25}, scale};
        const Difference difference = differenceOf(painted(painter, plan, screen), without);
        // The dark arrow inside its white rim: the black begins at the hot spot and reaches right and down.
        EXPECT_NEAR(difference.low.x, 150.5, 1.2 + 0.3 * scale) << scale;
        EXPECT_NEAR(difference.high.y, 200.25, 1.2 + 0.6 * scale) << scale;
        EXPECT_NEAR(difference.high.y - difference.low.y, 19.9 * scale, 2 + 0.8 * scale) << scale;
    }
}

TEST(FramePainter, CursorIsCutByTheScreensEdge) {
    FramePainter painter;
    FramePlan plan = planFor({400, 300}, {{100, 100}, {200, 100}});
    const VideoFrame screen = plainFrame(64, 48, 0, 200, 0);
    const Bitmap without = painted(painter, plan, screen);
    plan.cursor = FramePlan::Cursor{CursorShape::pointingHand, {295, 104}, 3};
    const Difference difference = differenceOf(painted(painter, plan, screen), without);
    EXPECT_LE(difference.high.x, 300);
    EXPECT_GE(difference.low.y, 100);
    EXPECT_GE(difference.high.x, 295);
}

}  // namespace
}  // namespace varnelle
