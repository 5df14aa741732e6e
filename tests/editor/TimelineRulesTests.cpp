#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "editor/TimelineDrafts.h"
#include "editor/TimelineLayout.h"
#include "editor/TimelineRulerMetrics.h"
#include "editor/TimelineRules.h"

namespace varnelle {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;
using testing::Pointwise;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

TimelineSpan spanOf(double start, double duration) {
    return {UUID::random(), start, duration, 0, {}};
}

TEST(TimelineLayoutTest, MeasuresFollowFromWidthDurationAndZoom) {
    struct Case {
        double width, seconds, zoom;
        double pixelsPerSecond, contentWidth, maximumZoom, maximumStart;
    };
    for (const Case& test : {
             Case{1048, 50, 1, 20, 1000, 12, 0},
             Case{1048, 50, 3, 60, 3000, 12, 2000},
             Case{1048, 90, 1, 1000.0 / 90, 1000, 21.6, 0},
             Case{1048, 180, 1, 1000.0 / 90, 2000, 21.6, 1000},
             Case{1048, 5, 1, 200, 1000, 5, 0},                  // 240 would be reached at 1.2
             Case{320, 90, 1, 7, 630, 240 / (272 / 90.0), 358},  // never smaller
             Case{100, 10, 1, 27.2, 272, 240 / 27.2, 0},         // as wide as 320
             Case{1048, 0.1, 1, 10'000, 2500, 5, 1500},          // content lasts at least 0.25 s
             Case{1048, 0, 1, 4000, 1000, 5, 0},
         }) {
        SCOPED_TRACE(testing::Message() << test.width << " wide, " << test.seconds << " s");
        const auto layout = TimelineLayout::make(test.width, test.seconds, test.zoom);
        EXPECT_DOUBLE_EQ(layout.pixelsPerSecond, test.pixelsPerSecond);
        EXPECT_DOUBLE_EQ(layout.contentWidth, test.contentWidth);
        EXPECT_DOUBLE_EQ(layout.maximumZoom, test.maximumZoom);
        EXPECT_NEAR(layout.maximumStart(), test.maximumStart, 1e-9);
    }
}

TEST(TimelineLayoutTest, InsetsShrinkInANarrowViewport) {
    TimelineLayout layout = TimelineLayout::make(320, 10, 1);
    EXPECT_DOUBLE_EQ(layout.leftReveal, 272 * 0.3);
    EXPECT_DOUBLE_EQ(layout.rightTrigger, 272 * 0.18);
    layout = TimelineLayout::make(48 + 307, 10, 1);
    EXPECT_EQ(layout.leftReveal, 92);
    EXPECT_LT(layout.rightTrigger, 64);
    layout = TimelineLayout::make(48 + 356, 10, 1);
    EXPECT_EQ(layout.rightTrigger, 64);
}

TEST(TimelineLayoutTest, FollowsThePlayheadNearTheEdges) {
    const auto layout =
        TimelineLayout::make(1048, 50, 3);  // 60 points a second, 3000 wide, 1000 of them seen
    struct Case {
        double seconds, windowStart, target;
    };
    for (const Case& test : {
             Case{0, 0, 0},                  // there is nothing further left
             Case{92 / 60.0, 0, 0},          // at the left reveal
             Case{936 / 60.0, 0, 0},         // at the right trigger
             Case{937 / 60.0, 0, 937 - 92},  // beyond it
             Case{10, 800, 600 - 92},        // left of what is seen
             Case{1, 800, 0},                // near the start
             Case{49, 0, 2000},              // near the end
             Case{60, 0, 2000},              // past the end
             Case{2500 / 60.0, 5000, 2000},  // a window out of range
         }) {
        EXPECT_DOUBLE_EQ(layout.followTarget(test.seconds, test.windowStart), test.target)
            << test.seconds << " s";
    }
    EXPECT_EQ(layout.playheadX(60), 2999);
    EXPECT_EQ(layout.playheadX(1), 60);
}

TEST(TimelineRulerMetricsTest, IntervalsGiveLabelsRoom) {
    struct Case {
        double pixelsPerSecond, major, minor;
    };
    const double f = 1.0 / 30;
    for (const Case& test :
         {Case{1380, 2 * f, f}, Case{1379, 5 * f, f}, Case{552, 5 * f, f}, Case{276, 10 * f, 2 * f},
          Case{240, 0.5, 0.1}, Case{184, 0.5, 0.1}, Case{92, 1, 0.2}, Case{46, 2, 0.5}, Case{20, 5, 1},
          Case{11.1, 10, 2}, Case{7, 15, 5}, Case{4, 30, 5}, Case{2, 60, 10}, Case{0.8, 120, 20},
          Case{0.1, 120, 20}}) {
        const auto metrics = TimelineRulerMetrics::make(10, test.pixelsPerSecond, 30);
        EXPECT_EQ(metrics.majorInterval, test.major) << test.pixelsPerSecond;
        EXPECT_EQ(metrics.minorInterval, test.minor) << test.pixelsPerSecond;
    }
    EXPECT_EQ(TimelineRulerMetrics::make(-1, 20, 30).duration, 0);
}

TEST(TimelineRulerMetricsTest, TicksEndWithTheTimelineAndDontCoverEachOther) {
    const auto near = [](std::vector<double> ticks) { return Pointwise(DoubleNear(1e-9), ticks); };
    const auto metrics = TimelineRulerMetrics::make(1, 184, 30);  // 0.5 and 0.1
    EXPECT_THAT(metrics.majorTicks(0, 10), near({0, 0.5, 1}));
    EXPECT_THAT(metrics.minorTicks(0, 10), near({0.1, 0.2, 0.3, 0.4, 0.6, 0.7, 0.8, 0.9}));
    EXPECT_THAT(metrics.minorTicks(0.35, 0.65), near({0.4, 0.6}));
    EXPECT_THAT(metrics.majorTicks(-5, 0.2), near({0}));
    EXPECT_THAT(TimelineRulerMetrics::make(0.99995, 184, 30).majorTicks(0, 10), near({0, 0.5, 1}));
    EXPECT_THAT(TimelineRulerMetrics::make(0, 184, 30).majorTicks(0, 10), near({0}));
    EXPECT_TRUE((TimelineRulerMetrics{10, 20, 0, 0, 30}).majorTicks(0, 10).empty());
    // Every frame is a tick, and each is either major or minor.
    const auto frames = TimelineRulerMetrics::make(20, 1400, 30);
    EXPECT_EQ(frames.majorTicks(0, 20).size() + frames.minorTicks(0, 20).size(), 601U);
    EXPECT_EQ(frames.majorTicks(0, 20).size(), 301U);
}

TEST(TimelineRulerMetricsTest, LabelsShowWhatTheirIntervalNeeds) {
    struct Case {
        double pixelsPerSecond, seconds;
        const char* text;
    };
    for (const Case& test :
         {Case{1400, 0, "0:00.00"}, Case{1400, 65.1, "1:05.03"}, Case{1400, 3600 + 2 / 30.0, "1:00:00.02"},
          Case{184, 65.5, "1:05.5"}, Case{184, 3661.5, "1:01:01.5"}, Case{92, 59.99, "0:59"},
          Case{92, 3599, "59:59"}, Case{1, 7200, "2:00:00"}, Case{1400, kNotANumber, "0:00"},
          Case{92, kInfinity, "0:00"}}) {
        EXPECT_EQ(TimelineRulerMetrics::make(9000, test.pixelsPerSecond, 30).label(test.seconds), test.text);
    }
    // Ticks lie at multiples of the interval's nearest double; each has the label of its own frame.
    const auto metrics = TimelineRulerMetrics::make(20, 1400, 30);
    const auto ticks = metrics.majorTicks(0, 20);
    for (std::size_t i = 0; i < 15; ++i) {
        EXPECT_EQ(metrics.label(ticks[i]), "0:00." + std::string(i < 5 ? "0" : "") + std::to_string(2 * i));
    }
}

TEST(TimelineRulesTest, RulerClicksSnapToWhatIsNear) {
    const std::vector<TimelineSpan> spans{spanOf(0, 4), spanOf(4, 6)};
    struct Case {
        double seconds, pixelsPerSecond, result;
    };
    for (const Case& test : {
             Case{4.05, 20, 4},
             Case{4.5, 20, 4},  // the radius is 0.5 s
             Case{4.51, 20, 4.51},
             Case{4.079, 200, 4},  // never below 0.08 s
             Case{4.09, 200, 4.09},
             Case{0.3, 20, 0},
             Case{9.8, 20, 10},
             Case{-1, 20, 0},  // nothing is near, but no time lies before zero
             Case{2, 1, 0},    // 10 s around; 0 and 4 are as near, and 0 comes first
             Case{7, 1, 10},   // as near as 4, and the end comes before the clips
             Case{kInfinity, 20, 0},
             Case{kNotANumber, 20, 0},
         }) {
        EXPECT_DOUBLE_EQ(snappedSeekSeconds(test.seconds, test.pixelsPerSecond, 10, spans), test.result)
            << test.seconds << " at " << test.pixelsPerSecond;
    }
}

TEST(TimelineRulesTest, CutsFallIntoTheClipUnderThem) {
    const std::vector<TimelineSpan> spans{spanOf(0, 4), spanOf(4, 6), spanOf(10, 2)};
    const double margin = 1.0 / 600;
    struct Case {
        double seconds;
        std::size_t index;
        double offset;
    };
    for (const Case& test :
         {Case{1, 0, 1}, Case{0, 0, margin}, Case{4, 1, margin}, Case{3.9999, 0, 4 - margin},
          Case{12, 2, 2 - margin}, Case{99, 2, 2 - margin}, Case{-1, 2, margin}}) {
        const auto target = cutTarget(test.seconds, spans);
        ASSERT_TRUE(target) << test.seconds;
        EXPECT_EQ(target->clipID, spans[test.index].clipID) << test.seconds;
        EXPECT_DOUBLE_EQ(target->offsetSeconds, test.offset) << test.seconds;
        EXPECT_DOUBLE_EQ(target->timelineSeconds, spans[test.index].start + test.offset) << test.seconds;
    }
    EXPECT_FALSE(cutTarget(0, {}));
    EXPECT_FALSE(cutTarget(0.001, {spanOf(0, 1.0 / 300)}));
    EXPECT_TRUE(cutTarget(0.001, {spanOf(0, 1.01 / 300)}));
}

TEST(TimelineRulesTest, SkimmingKeepsToSixtieths) {
    EXPECT_DOUBLE_EQ(skimmedSeconds(0.999, std::nullopt).value_or(-1), 59 / 60.0);
    EXPECT_DOUBLE_EQ(skimmedSeconds(0, std::nullopt).value_or(-1), 0);
    EXPECT_FALSE(skimmedSeconds(0.999, 59 / 60.0));
    EXPECT_FALSE(skimmedSeconds(0.984, 59 / 60.0));
    EXPECT_DOUBLE_EQ(skimmedSeconds(0.98, 59 / 60.0).value_or(-1), 58 / 60.0);
}

TEST(TimelineRulesTest, DeleteTakesWhatIsSelectedAndElseWhatItMay) {
    using enum TimelineDeletion;
    struct Case {
        bool clipSelected, zoomSelected, canClip, canZoom;
        TimelineDeletion result;
    };
    for (const Case& test :
         {Case{true, true, true, true, zoomPanClip}, Case{true, true, true, false, clip},
          Case{true, false, true, true, clip}, Case{true, false, false, true, zoomPanClip},
          Case{false, true, true, false, clip}, Case{false, false, true, true, zoomPanClip},
          Case{false, false, true, false, clip}, Case{true, true, false, false, nothing}}) {
        EXPECT_EQ(deletion(test.clipSelected, test.zoomSelected, test.canClip, test.canZoom), test.result);
    }
}

TEST(TimelineDraftsTest, ClipEdgesStopAtTheSourceAndTheShortestClip) {
    using enum TimelineTrimEdge;
    struct Case {
        TimelineTrimEdge edge;
        double delta;
        double assetSeconds;
        TimelineTrimmedRange range;
    };
    for (const Case& test : {
             Case{leading, 1, 10, {3, 3}}, Case{leading, -5, 10, {0, 6}}, Case{leading, 9, 10, {5.75, 0.25}},
             Case{leading, 1, 4, {3, 3}},  // the source's length doesn't matter here
             Case{trailing, 1, 10, {2, 5}}, Case{trailing, 9, 10, {2, 8}}, Case{trailing, -9, 10, {2, 0.25}},
             Case{trailing, -9, 2.125, {2, 0.125}},  // the source ends before the shortest clip
         }) {
        EXPECT_EQ(trimmedRange(test.edge, {2, 6}, test.delta, test.assetSeconds, 0.25), test.range)
            << test.delta;
    }
}

TEST(TimelineDraftsTest, ZoomPanEdgesStopAtTheNeighbours) {
    using enum TimelineTrimEdge;
    struct Case {
        TimelineTrimEdge edge;
        TimelineZoomPanTrimGestureOrigin origin;
        double delta, low, high;
        TimelineTrimmedRange range;
    };
    for (const Case& test : {
             Case{leading, {4, 6}, -1, 2, 9, {3, 3}}, Case{leading, {4, 6}, -3, 2, 9, {2, 4}},
             Case{leading, {4, 6}, 5, 2, 9, {5.5, 0.5}}, Case{leading, {0, 6}, -3, -2, 9, {0, 6}},
             Case{leading, {4, 4.25}, 5, 4, 9, {4, 0.5}},  // shorter than it may be: the end gives way
             Case{trailing, {4, 6}, 1, 2, 9, {4, 3}}, Case{trailing, {4, 6}, 8, 2, 9, {4, 5}},
             Case{trailing, {4, 6}, -5, 2, 9, {4, 0.5}},
             Case{trailing, {4, 4.25}, 0, 2, 4.25, {3.75, 0.5}},  // no room to the right: the start gives way
             Case{trailing, {4, 4.25}, 3, 4, 4.25, {4, 0.5}},     // nor to the left: beyond the limit
         }) {
        EXPECT_EQ(trimmedZoomPanRange(test.edge, test.origin, test.delta, 0.5, test.low, test.high),
                  test.range)
            << test.delta;
    }
}

}  // namespace
}  // namespace varnelle
