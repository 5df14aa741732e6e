#include "render/FramePlan.h"

#include <gtest/gtest.h>

namespace varnelle {
namespace {

constexpr CGSize kCanvas{1920, 1080};

FramePlanInput inputFor(const OverlayConfiguration& configuration) {
    FramePlanInput input;
    input.canvas = kCanvas;
    input.sourceSize = {1920, 1080};
    input.configuration = &configuration;
    input.cursorState.visibility = CursorVisibility::visible;
    input.cursorState.position = {0.25, 0.75};
    input.cursorState.clickScale = 1;
    input.captureRegion = {0, 0, 960, 540};
    return input;
}

void setHolding(FramePlanInput& input, CGPoint focalPoint, double zoomScale, double progress = 1) {
    input.zoomPanState.isEmpty = false;
    input.zoomPanState.phase = ZoomPanPhase::holding;
    input.zoomPanState.progress = progress;
    input.snapshot = SmoothingCameraSnapshot{focalPoint, zoomScale};
}

TEST(FramePlan, FitsTheScreenIntoThePaddedCanvas) {
    OverlayConfiguration look;
    struct Case {
        const char* what;
        CGSize source;
        double padding;
        CanvasBackgroundStyle style;
        CGRect expected;
    };
    using S = CanvasBackgroundStyle;
    for (const Case& c : {
             Case{"wide", {1920, 1080}, 72, S::macOSWallpaper, {{128, 72}, {1664, 936}}},
             Case{"tall", {1080, 1920}, 90, S::macOSWallpaper, {{706.875, 90}, {506.25, 900}}},
             Case{"padding at its limit", {1080, 1080}, 5000, S::macOSWallpaper, {{906, 486}, {108, 108}}},
             Case{"no padding below zero", {1920, 1080}, -50, S::macOSWallpaper, {{0, 0}, {1920, 1080}}},
             Case{"none fills the canvas", {1080, 1080}, 72, S::none, {{420, 0}, {1080, 1080}}},
         }) {
        look.canvasPadding = c.padding;
        look.canvasBackgroundStyle = c.style;
        EXPECT_EQ(fittedScreenRect(kCanvas, c.source, look), c.expected) << c.what;
    }
}

TEST(FramePlan, PutsTheBubbleByItsAnchorOrWhereItWasDragged) {
    OverlayConfiguration look;
    look.relativeSize = 0.15;
    look.scale = 0.5;
    look.padding = 24;
    using A = OverlayAnchor;
    for (const auto& [anchor, origin] :
         {std::pair{A::bottomRight, CGPoint{1752, 24}}, std::pair{A::bottomLeft, CGPoint{24, 24}},
          std::pair{A::topRight, CGPoint{1752, 912}}, std::pair{A::topLeft, CGPoint{24, 912}}}) {
        look.anchor = anchor;
        EXPECT_EQ(cameraRect(kCanvas, look), (CGRect{origin, {144, 144}}));
    }
    look.position = CGPoint{0.5, 1};
    EXPECT_EQ(cameraRect(kCanvas, look), (CGRect{{888, 1008}, {144, 144}})) << "may hang over the edge";
    look.scale = 0;
    EXPECT_EQ(cameraRect(kCanvas, look).size, (CGSize{1, 1}));
}

TEST(FramePlan, ShapesTheBubble) {
    OverlayConfiguration look;
    look.relativeSize = 0.1;  // 192 pixels
    FramePlanInput input = inputFor(look);
    EXPECT_FALSE(makeFramePlan(input).bubble) << "no camera, no bubble";
    input.hasCameraFrame = true;
    struct Case {
        OverlayMaskType mask;
        double radius, ratio, expected;
    };
    using M = OverlayMaskType;
    for (const Case& c : {Case{M::circle, 10, 0.2, 96}, Case{M::roundedRectangle, 10, 0.2, 10},
                          Case{M::roundedRectangle, 500, 0.2, 96}, Case{M::roundedRectangle, 0, 0.25, 48},
                          Case{M::roundedRectangle, 0, 0.01, 8}, Case{M::square, 10, 0.2, 0}}) {
        look.maskType = c.mask;
        look.cornerRadius = c.radius;
        look.cornerRadiusRatio = c.ratio;
        EXPECT_EQ(makeFramePlan(input).bubble->cornerRadius, c.expected);
    }
    const CGRect still = makeFramePlan(input).bubble->rect;
    setHolding(input, {0.1, 0.1}, 3);
    EXPECT_EQ(makeFramePlan(input).bubble->rect, still) << "the screen zooms under it";
    EXPECT_EQ(makeFramePlan(input).bubble->shadow, (FramePlan::Shadow{0.28, 26, 1}));
    look.overlayShadowOpacity = 0.001;
    EXPECT_FALSE(makeFramePlan(input).bubble->shadow);
    look.showsCamera = false;
    EXPECT_FALSE(makeFramePlan(input).bubble);
}

TEST(FramePlan, WithoutBackgroundThereIsNeitherMaskNorShadow) {
    OverlayConfiguration look;
    look.canvasBackgroundStyle = CanvasBackgroundStyle::none;
    const FramePlan plan = makeFramePlan(inputFor(look));
    EXPECT_FALSE(plan.hasMask);
    EXPECT_FALSE(plan.shadow);
}

TEST(FramePlan, CornersAndShadowFollowTheirLimits) {
    OverlayConfiguration look;
    EXPECT_TRUE(makeFramePlan(inputFor(look)).isShadowStill);
    look.canvasCornerRadius = 5000;
    EXPECT_EQ(makeFramePlan(inputFor(look)).cornerRadius, 468) << "a capsule";
    look.canvasShadowOpacity = 0.0005;
    EXPECT_FALSE(makeFramePlan(inputFor(look)).shadow);
    look.canvasShadowOpacity = 0.5;
    look.canvasShadowRadius = 0.5;
    look.isInteractivelyEditing = true;
    EXPECT_TRUE(makeFramePlan(inputFor(look)).shadow);
    EXPECT_FALSE(makeFramePlan(inputFor(look)).isShadowStill);
}

TEST(FramePlan, ZoomMovesTheScreenAloneAndStaysOnTheCanvas) {
    const OverlayConfiguration look;
    FramePlanInput input = inputFor(look);
    setHolding(input, {0.5, 0.5}, 1.2);
    FramePlan plan = makeFramePlan(input);
    // At least 1.6, about the middle: 128 - 960 scaled by 1.6, and so on.
    EXPECT_FALSE(plan.isShadowStill);
    EXPECT_NEAR(plan.screenRect.minX(), 960 - 832 * 1.6, 1e-9);
    EXPECT_NEAR(plan.screenRect.minY(), 540 - 468 * 1.6, 1e-9);
    EXPECT_NEAR(plan.screenRect.width(), 1664 * 1.6, 1e-9);
    EXPECT_NEAR(plan.cornerRadius, 22 * 1.6, 1e-9);
    EXPECT_NEAR(plan.shadow->radius, 26 * 1.6, 1e-9);
    EXPECT_FALSE(plan.isShadowStill);

    // In the corner the view stops at the canvas's edge: the canvas's corner stays where it is.
    setHolding(input, {0, 0}, 2);
    plan = makeFramePlan(input);
    EXPECT_NEAR(plan.screenRect.minX(), 128 * 2, 1e-9);
    EXPECT_NEAR(plan.screenRect.minY(), 72 * 2, 1e-9);

    // Half way the view is half way between the canvas and the camera's.
    setHolding(input, {0.5, 0.5}, 2, 0.5);
    EXPECT_NEAR(makeFramePlan(input).screenRect.width(), 1664 / 0.75, 1e-9);
}

TEST(FramePlan, NothingZoomsOutsideOrSwitchedOff) {
    OverlayConfiguration look;
    const FramePlan wide = makeFramePlan(inputFor(look));
    FramePlanInput input = inputFor(look);
    setHolding(input, {0.2, 0.2}, 2, 0.000001);
    EXPECT_EQ(makeFramePlan(input), wide) << "progress too small";
    setHolding(input, {0.2, 0.2}, 2);
    input.zoomPanState.phase = ZoomPanPhase::outside;
    EXPECT_EQ(makeFramePlan(input), wide);
    setHolding(input, {0.2, 0.2}, 2);
    input.snapshot.reset();
    EXPECT_EQ(makeFramePlan(input), wide) << "no camera";
    setHolding(input, {0.2, 0.2}, 2);
    look.cursor.zoomAndPanDisabled = true;
    EXPECT_EQ(makeFramePlan(input), wide);
}

TEST(FramePlan, CursorLandsOnThePictureAndGrowsWithIt) {
    OverlayConfiguration look;
    FramePlanInput input = inputFor(look);
    FramePlan plan = makeFramePlan(input);
    ASSERT_TRUE(plan.cursor);
    EXPECT_EQ(plan.cursor->hotSpot, (CGPoint{128 + 0.25 * 1664, 72 + 0.75 * 936}));
    EXPECT_NEAR(plan.cursor->pixelsPerPoint, 3.2 * 1664 / 960, 1e-12);
    setHolding(input, {0.5, 0.5}, 2);
    EXPECT_NEAR(makeFramePlan(input).cursor->pixelsPerPoint, 2 * 3.2 * 1664 / 960, 1e-12);

    look.cursor.size = 0.2;
    input = inputFor(look);
    input.cursorState.clickScale = 0.7;
    EXPECT_NEAR(makeFramePlan(input).cursor->pixelsPerPoint, 0.7 * 0.5 * 1664 / 960, 1e-12)
        << "at least a half";
    const FramePlan withoutFlags = makeFramePlan(input);
    look.cursor.rippleOnClickEnabled = true;
    look.cursor.clickAnimationEnabled = false;
    EXPECT_EQ(makeFramePlan(input), withoutFlags);
    for (const auto visibility : {CursorVisibility::hidden, CursorVisibility::noData}) {
        input.cursorState.visibility = visibility;
        EXPECT_FALSE(makeFramePlan(input).cursor);
    }
}

TEST(FramePlan, ScalesAsAWhole) {
    const OverlayConfiguration look;
    FramePlanInput input = inputFor(look);
    setHolding(input, {0.3, 0.6}, 1.7, 0.4);
    const FramePlan half = scaled(makeFramePlan(input), 0.5);
    EXPECT_EQ(half.canvas, (CGSize{960, 540}));
    EXPECT_EQ(half.screenRect.width(), makeFramePlan(input).screenRect.width() / 2);
    EXPECT_EQ(half.cursor->hotSpot.y, makeFramePlan(input).cursor->hotSpot.y / 2);
    EXPECT_EQ(half.shadow->scale, 0.5);
}

}  // namespace
}  // namespace varnelle
