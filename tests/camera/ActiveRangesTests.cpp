#include "camera/ActiveRanges.h"

#include <gtest/gtest.h>

#include "camera/AutoZoomRanges.h"
#include "support/SampleProject.h"
#include "support/Telemetry.h"

namespace varnelle {
namespace {

using Kind = CursorActivityKind;
using State = CursorWindowMotionState;
using test::rangeOfSeconds;
using Ranges = std::vector<CMTimeRange>;

/// A path of one sample each tenth of a second: `.` wide and neutral, `n` wide while active, `#` zoomed while
/// active.
SmoothingCamera drawnCamera(const std::string& drawing) {
    std::vector<SmoothingCameraSample> samples;
    for (std::size_t i = 0; i < drawing.size(); ++i) {
        const State state = drawing[i] == '.' ? State::neutral : State::hover;
        samples.push_back({static_cast<double>(i) / 10, {{0.5, 0.5}, drawing[i] == '#' ? 1.5 : 1.0}, state});
    }
    return SmoothingCamera(samples);
}

Ranges cameraRanges(const std::string& drawing, double duration, double mergeGap) {
    return cameraActiveRanges(drawnCamera(drawing), timeFromSeconds(duration), 1.02, 0.14, mergeGap);
}

TEST(CameraActiveRanges, BeginWhereTheActivityBegan) {
    //                     0    0.5  1.0  1.5
    EXPECT_EQ(cameraRanges("....nnn###.....", 1.4, 0), (Ranges{rangeOfSeconds(0.2, 0.8)}));
    EXPECT_EQ(cameraRanges("nn###", 0.4, 0), (Ranges{rangeOfSeconds(0, 0.4)}))
        << "no neutral sample: from the start";
    EXPECT_EQ(cameraRanges("...###", 0.4, 0), (Ranges{rangeOfSeconds(0.1, 0.3)}))
        << "clipped to the duration";
}

TEST(CameraActiveRanges, MergeAcrossGapsAndDropTheShort) {
    const std::string twice = "..n##.....n##..";  // 0 to 0.5, and 0.8 to 1.3
    EXPECT_EQ(cameraRanges(twice, 1.4, 0.2), (Ranges{rangeOfSeconds(0, 0.5), rangeOfSeconds(0.8, 0.5)}));
    EXPECT_EQ(cameraRanges(twice, 1.4, 0.31), (Ranges{rangeOfSeconds(0, 1.3)}));
    EXPECT_TRUE(cameraActiveRanges(drawnCamera(".#....."), timeFromSeconds(0.6), 1.02, 0.3, 0).empty());
    EXPECT_TRUE(cameraRanges("", 5, 0).empty());
    EXPECT_TRUE(cameraRanges("###", 0, 0).empty());
}

Ranges activityRanges(const CursorRecording& recording, double duration, double gap = 0) {
    return activityActiveRanges(recording, timeFromSeconds(duration), 0.14, gap);
}

TEST(ActivityActiveRanges, SurroundClicksDragsAndKeys) {
    CursorRecording recording;
    recording.activitySamples = {test::button(0.3, Kind::rightMouseDown),
                                 test::button(20, Kind::leftMouseUp, false)};
    EXPECT_EQ(activityRanges(recording, 30), (Ranges{rangeOfSeconds(0, 1.25)}));
    recording.activitySamples = {test::button(5, Kind::leftMouseDown), test::button(9, Kind::leftMouseUp)};
    EXPECT_EQ(activityRanges(recording, 30), (Ranges{rangeOfSeconds(4.15, 5.6)}))
        << "from 5 - 0.85 to 9 + 0.75";
    recording.activitySamples = {test::button(5, Kind::leftMouseDown)};
    EXPECT_EQ(activityRanges(recording, 30), (Ranges{rangeOfSeconds(4.15, 25.85)}))
        << "still held at the end";
    recording.activitySamples.clear();
    recording.keyboardSamples = {{10, CursorKeyboardActivityKind::navigation, true},
                                 {20, CursorKeyboardActivityKind::shortcut, true},
                                 {25, CursorKeyboardActivityKind::typing, false}};
    EXPECT_EQ(activityRanges(recording, 30), (Ranges{rangeOfSeconds(9.85, 1), rangeOfSeconds(19.88, 0.87)}));
}

TEST(ActivityActiveRanges, ShortPiecesAreAbsorbedAndLongOnesStayApart) {
    CursorRecording recording;
    const auto key = [](double t) {
        return CursorKeyboardActivitySample{t, CursorKeyboardActivityKind::typing, true};
    };
    // Windows of 1.25 s; two of them 1.5 s apart.
    recording.keyboardSamples = {key(5), key(5 + 2.75)};
    EXPECT_EQ(activityRanges(recording, 30).size(), 1U);
    // Each now more than 2 s long, with the same distance between them.
    recording.keyboardSamples = {key(5), key(6), key(6 + 2.75), key(6 + 3.75)};
    EXPECT_EQ(activityRanges(recording, 30).size(), 2U);
}

TEST(TimelineRanges, CutMoveAndMergeAtSegments) {
    // timeline [0 A 4) [4 B 8): A shows source 0 to 4, B source 10 to 14; then the same with B directly
    // following A.
    const std::vector<TimelineSourceTimeMapper::Segment> cut{{0, 4, 0}, {4, 8, 10}};
    EXPECT_EQ(timelineRanges({rangeOfSeconds(3, 4), rangeOfSeconds(11, 1)}, cut, 0.12),
              (Ranges{rangeOfSeconds(3, 1), rangeOfSeconds(5, 1)}));
    EXPECT_EQ(timelineRanges({rangeOfSeconds(3, 8)}, cut, 0.12), (Ranges{rangeOfSeconds(3, 2)}))
        << "pieces that meet at the cut join";
    EXPECT_TRUE(timelineRanges({rangeOfSeconds(5, 4)}, cut, 0.12).empty()) << "cut away";
    EXPECT_TRUE(timelineRanges({rangeOfSeconds(3, 1)}, {}, 0.12).empty());
}

TEST(NormalizeTimeRanges, JoinsWithinAFrameOfTheGrid) {
    const CMTimeRange first{CMTime::make(0, 600), CMTime::make(600, 600)};
    const CMTimeRange near{CMTime::make(601, 600), CMTime::make(60, 600)};
    const CMTimeRange far{CMTime::make(602, 600), CMTime::make(60, 600)};
    EXPECT_EQ(normalizeTimeRanges({near, first}, 0).size(), 1U);
    EXPECT_EQ(normalizeTimeRanges({far, first}, 0).size(), 2U);
    EXPECT_EQ(normalizeTimeRanges({far, first}, 0.5).size(), 1U) << "too short";
}

TEST(AutoZoomAndPanRanges, FallBackToActivityWhenZoomedAllTheTime) {
    const std::vector<TimelineSourceTimeMapper::Segment> whole{{0, 10, 0}};
    CursorRecording recording = test::restingPointer(10, {0.5, 0.5});
    const SmoothingCamera camera(
        SmoothingCamera::buildSamples(recording, kCameraFrameRate, kCameraWindowSeconds));
    const CMTime duration = timeFromSeconds(10);
    const Ranges always = autoZoomAndPanRanges(recording, whole, &camera, duration);
    ASSERT_EQ(always.size(), 1U);
    EXPECT_GT(always[0].duration.seconds(), 9.2);
    recording.activitySamples = {test::button(5, Kind::leftMouseDown), test::button(5.1, Kind::leftMouseUp)};
    EXPECT_EQ(autoZoomAndPanRanges(recording, whole, &camera, duration), (Ranges{rangeOfSeconds(4.15, 1.8)}));
    EXPECT_TRUE(autoZoomAndPanRanges(recording, whole, nullptr, duration).empty());
}

}  // namespace
}  // namespace varnelle
