#include "camera/CursorRecording.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "support/Telemetry.h"

namespace varnelle {
namespace {

using Kind = CursorActivityKind;

CMTime at(double seconds) {
    return timeFromSeconds(seconds);
}

TEST(CursorRecording, WithoutMovementThereIsNoData) {
    CursorRecording recording;
    recording.activitySamples = {test::button(1, Kind::leftMouseDown)};
    CursorFrameState expected;
    expected.visibility = CursorVisibility::noData;
    EXPECT_EQ(recording.cursorState(at(1)), expected);
    EXPECT_EQ(recording.pointerState(at(1)).visibility, CursorVisibility::noData);
}

TEST(CursorRecording, InterpolatesPositionAndSwitchesVisibilityHalfWay) {
    CursorRecording recording;
    recording.movementSamples = {{1, 0.2, 0.4, true}, {2, 0.6, 1.4, false}, {2, 0.9, 0.9, true}};
    struct Case {
        double time;
        CGPoint position;
        CursorVisibility visibility;
    };
    for (const Case& c :
         {Case{0, {0.2, 0.4}, CursorVisibility::visible}, Case{1.25, {0.3, 0.65}, CursorVisibility::visible},
          Case{1.5, {0.4, 0.9}, CursorVisibility::hidden},
          Case{1.75, {0.5, 1}, CursorVisibility::hidden},  // 1.15, clamped
          Case{2, {0.6, 1}, CursorVisibility::hidden}, Case{9, {0.9, 0.9}, CursorVisibility::visible}}) {
        const CursorFrameState state = recording.cursorState(at(c.time));
        EXPECT_NEAR(state.position.x, c.position.x, 1e-12) << c.time;
        EXPECT_NEAR(state.position.y, c.position.y, 1e-12) << c.time;
        EXPECT_EQ(state.visibility, c.visibility) << c.time;
    }
}

TEST(CursorRecording, VelocitySpansThreeSamples) {
    const CursorRecording recording = test::pointerPath(1, [](double t) { return CGPoint{t * t, 0.5}; });
    // At 0.5 s the lower bound is sample 60: from sample 58 to 60.
    const double expected = (std::pow(60 / 120.0, 2) - std::pow(58 / 120.0, 2)) / (2 / 120.0);
    EXPECT_NEAR(recording.cursorState(at(0.5)).velocity.x, expected, 1e-9);
    const CursorRecording single = test::restingPointer(0, {0.5, 0.5});
    EXPECT_EQ(single.cursorState(at(3)).velocity, (CGPoint{0, 0}));
}

TEST(CursorRecording, ActivityDecaysAndForgets) {
    CursorRecording recording = test::restingPointer(5, {0.5, 0.5});
    recording.activitySamples = {test::button(1, Kind::leftMouseDown),
                                 test::button(1.25, Kind::leftMouseUp, false),
                                 test::button(3, Kind::rightMouseUp)};
    EXPECT_EQ(recording.activity(1), 1) << "a sample exactly then counts";
    EXPECT_NEAR(recording.activity(1.5), std::exp(-0.5 / 0.45), 1e-12) << "an invisible release doesn't";
    EXPECT_NEAR(recording.activity(1.8), std::exp(-0.8 / 0.45), 1e-12);
    EXPECT_EQ(recording.activity(1.81), 0);
    EXPECT_NEAR(recording.activity(3), 0.42, 1e-12);
    // Only the last twelve are looked at, and the sum is capped.
    recording.activitySamples.assign(13, test::button(1, Kind::leftMouseUp));
    recording.activitySamples.front().kind = Kind::leftMouseDown;
    EXPECT_EQ(recording.activity(1), 1);
}

TEST(CursorRecording, ClickSqueezesThePointerForAQuarterSecond) {
    CursorRecording recording = test::restingPointer(5, {0.5, 0.5});
    recording.activitySamples = {test::button(1, Kind::rightMouseDown),
                                 test::button(1.05, Kind::rightMouseUp),
                                 test::button(1.06, Kind::leftMouseDown, false)};
    EXPECT_NEAR(recording.clickScale(1.12), 0.7, 1e-12);
    EXPECT_NEAR(recording.clickScale(1.06), 1 - 0.3 * std::sin(std::numbers::pi * 0.06 / 0.24), 1e-12);
    EXPECT_EQ(recording.clickScale(1.25), 1);
    EXPECT_EQ(recording.clickScale(1), 1) << "a press shows after its moment";
}

TEST(CursorRecording, ShapeFollowsTheElementUnderThePointer) {
    CursorRecording recording;
    EXPECT_EQ(recording.shape(1), CursorShape::arrow);
    CursorWindowContextSample text{1, {}, {}, "AXTextArea", {}, {}};
    CursorWindowContextSample link{2, {}, {}, "AXLink", {}, "AXTextField"};
    CursorWindowContextSample none{3, {}, {}, {}, {}, {}};
    recording.windowContextSamples = {text, link, none};
    EXPECT_EQ(recording.shape(0), CursorShape::iBeam) << "before the first sample that one holds";
    EXPECT_EQ(recording.shape(2), CursorShape::iBeam) << "a sample holds from just after its time";
    EXPECT_EQ(recording.shape(2.1), CursorShape::pointingHand);
    EXPECT_EQ(recording.shape(9), CursorShape::arrow);
}

TEST(CursorRecording, LastEventCountsEveryList) {
    CursorRecording recording = test::restingPointer(1, {0.5, 0.5});
    EXPECT_EQ(recording.lastEventTime(), 1);
    recording.keyboardSamples = {{2.5, CursorKeyboardActivityKind::typing, true}};
    EXPECT_EQ(recording.lastEventTime(), 2.5);
    EXPECT_EQ(CursorRecording().lastEventTime(), 0);
}

}  // namespace
}  // namespace varnelle
