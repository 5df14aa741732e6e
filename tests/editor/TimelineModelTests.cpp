#include <gmock/gmock.h>

#include <QSignalSpy>

#include "TimelineTest.h"

namespace varnelle {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Lane = TimelineModel::Lane;

class TimelineModelTest : public test::TimelineTest {
protected:
    void clicks(Lane lane, double at) {
        timeline.press(lane, {at, 5});
        timeline.release(at);
    }
    void drags(Lane lane, double from, double to) {
        timeline.press(lane, {from, 5});
        timeline.drag((from + to) / 2);
        timeline.drag(to);
    }
    std::vector<double> scrollsAsked(QSignalSpy& spy) {
        QCoreApplication::processEvents();
        std::vector<double> places;
        for (const auto& call : spy) places.push_back(call[0].toDouble());
        spy.clear();
        return places;
    }
};

TEST_F(TimelineModelTest, TheToolbarSaysWhereAndHowFast) {
    timeline.setCurrentTime(timeFromSeconds(12.34));
    EXPECT_EQ(timeline.currentTimeText(), "0:12.34");
    EXPECT_EQ(timeline.durationText(), "0:50.00");
    timeline.setDuration(timeFromSeconds(3661.5));
    EXPECT_EQ(timeline.durationText(), "1:01:01.50");
    timeline.setCurrentTime(kCMTimeIndefinite);
    EXPECT_EQ(timeline.currentTimeText(), "0:00.00");
    EXPECT_EQ(timeline.currentSeconds(), 0);

    timeline.setPlaybackRate(1.5F);
    std::vector<std::string> rates;
    for (const MenuItem& item : timeline.rateMenu()->items()) {
        rates.push_back(item.text.toStdString() + (item.isChecked ? " checked" : ""));
    }
    EXPECT_THAT(rates, ElementsAre("0.5x", "1x", "1.5x checked", "2x", "4x", "8x"));
    timeline.rateMenu()->trigger(5);
    timeline.pressPlay();
    EXPECT_THAT(asked(), ElementsAre("rate 80", "toggle"));
    timeline.setZoomScale(1.999);
    EXPECT_EQ(timeline.zoomText(), "199%");
}

TEST_F(TimelineModelTest, ZoomStaysWithinItsLimitsAndKeepsItsPlace) {
    timeline.setZoomScale(0.2);
    EXPECT_EQ(timeline.zoomScale(), 1);
    timeline.setZoomScale(99);
    EXPECT_EQ(timeline.zoomScale(), 12);
    timeline.setZoomScale(1);

    timeline.zoomByScroll(20, 524);
    EXPECT_DOUBLE_EQ(timeline.zoomScale(), 1.3);
    EXPECT_NEAR(timeline.viewX(25), 524, 1e-9) << "the time under the pointer";
    timeline.zoomByScroll(-99, 524);
    EXPECT_EQ(timeline.zoomScale(), 1);
    EXPECT_EQ(timeline.scrollX(), 0);

    timeline.pinch(1.005, 524);
    EXPECT_EQ(timeline.zoomScale(), 1) << "too little to be meant";
    timeline.pinch(2, 524);
    timeline.pinch(3, 524);
    EXPECT_EQ(timeline.zoomScale(), 3);
    timeline.endPinch();
    timeline.setZoomScale(4);
    timeline.pinch(0.5, 524);
    EXPECT_EQ(timeline.zoomScale(), 2);
}

TEST_F(TimelineModelTest, ScrollingEndsWithTheContent) {
    timeline.setZoomScale(3);
    timeline.setScrollX(5000);
    EXPECT_EQ(timeline.scrollX(), 2000);
    EXPECT_EQ(timeline.viewX(50), 1024);
    timeline.setDuration(timeFromSeconds(10));
    setClips({{clipA, project.recordingSession.screenRecordingURL, test::rangeOfSeconds(0, 10), {}}});
    EXPECT_EQ(timeline.displayDurationSeconds(), 10);
    EXPECT_EQ(timeline.scrollX(), 2000) << "three times as wide as before";
    timeline.setZoomScale(1);
    EXPECT_EQ(timeline.scrollX(), 0);
}

TEST_F(TimelineModelTest, PlayingScrollsAlong) {
    timeline.setZoomScale(3);
    QSignalSpy scrolls(&timeline, &TimelineModel::scrollRequested);
    timeline.setCurrentTime(timeFromSeconds(20));
    EXPECT_THAT(scrollsAsked(scrolls), IsEmpty()) << "not while it stands";
    timeline.setIsPlaying(true);
    EXPECT_THAT(scrollsAsked(scrolls), ElementsAre(1200 - 92));
    timeline.setCurrentTime(timeFromSeconds(30));
    EXPECT_THAT(scrollsAsked(scrolls), IsEmpty());
    timeline.setCurrentTime(timeFromSeconds(35));
    EXPECT_THAT(scrollsAsked(scrolls), ElementsAre(2000));
    timeline.setCurrentTime(timeFromSeconds(0));
    EXPECT_THAT(scrollsAsked(scrolls), ElementsAre(0));
}

TEST_F(TimelineModelTest, JumpsSeekAndScrollToTheEnds) {
    timeline.setZoomScale(3);
    QSignalSpy scrolls(&timeline, &TimelineModel::scrollRequested);
    timeline.pressLastFrame();
    EXPECT_EQ(scrolls.count(), 0) << "only once the layout has settled";
    EXPECT_THAT(scrollsAsked(scrolls), ElementsAre(2000));
    timeline.pressFirstFrame();
    EXPECT_THAT(scrollsAsked(scrolls), ElementsAre(0));
    EXPECT_THAT(asked(), ElementsAre("seek 30000", "seek 0"));
}

TEST_F(TimelineModelTest, ClicksSeekAndSelect) {
    clicks(Lane::Primary, x(12));
    EXPECT_EQ(timeline.selectedClipID(), clipA);
    clicks(Lane::ZoomPan, x(31));
    EXPECT_EQ(timeline.selectedZoomPanClipID(), zoomB);
    EXPECT_EQ(timeline.selectedClipID(), std::nullopt) << "one thing at a time";
    clicks(Lane::ZoomPan, x(20));
    EXPECT_EQ(timeline.selectedZoomPanClipID(), std::nullopt);
    clicks(Lane::Primary, 0);
    EXPECT_THAT(asked(), ElementsAre("seek 7200", "seek 18600", "seek 12000", "seek 0"));
    EXPECT_EQ(timeline.deleteKeyFocusRequestID(), 4);
    timeline.seekInRuler(x(20.4));
    EXPECT_THAT(asked(), ElementsAre("seek 12000"));
    EXPECT_EQ(timeline.deleteKeyFocusRequestID(), 5);
}

TEST_F(TimelineModelTest, ScissorsSplit) {
    timeline.pressCut();
    clicks(Lane::Primary, x(21));
    clicks(Lane::Primary, x(20));
    clicks(Lane::Primary, x(20) - 4);
    EXPECT_THAT(asked(), ElementsAre("split B 600", "split B 1", "split A 11880"));
    EXPECT_EQ(timeline.selectedClipID(), std::nullopt);
    drags(Lane::Primary, x(20) + 2, x(25));
    EXPECT_EQ(timeline.trimDraft(), std::nullopt) << "there are no handles";
    timeline.release(x(25));
    timeline.hover(Lane::Primary, x(60));
    EXPECT_DOUBLE_EQ(timeline.hoveredCutTime().value_or(0), 50 - 1.0 / 600);
    setClips({});
    timeline.hover(Lane::Primary, x(5));
    EXPECT_EQ(timeline.hoveredCutTime(), std::nullopt);
}

TEST_F(TimelineModelTest, HoveringSkimsUnlessItPlays) {
    timeline.hover(Lane::Primary, x(1));
    timeline.hover(Lane::Primary, x(1) + 0.1);
    timeline.hover(Lane::ZoomPan, x(2));
    EXPECT_THAT(asked(), ElementsAre("scrub 600", "scrub 1200"));
    EXPECT_EQ(timeline.hoverMarkX(), x(2));
    timeline.setIsPlaying(true);
    EXPECT_FALSE(timeline.hasHoverMark()) << "a pointer that rests reports no more";
    EXPECT_THAT(asked(), ElementsAre("scrub end"));
    timeline.hover(Lane::Primary, x(3));
    timeline.hover(Lane::Primary, x(4));
    EXPECT_FALSE(timeline.hasHoverMark());
    EXPECT_THAT(asked(), IsEmpty());
    timeline.setIsPlaying(false);
    timeline.hover(Lane::Primary, x(99));
    timeline.endHover(Lane::ZoomPan);
    EXPECT_TRUE(timeline.hasHoverMark()) << "of the other lane";
    timeline.endHover(Lane::Primary);
    timeline.endHover(Lane::Primary);
    EXPECT_THAT(asked(), ElementsAre("scrub 30000", "scrub end"));
    timeline.hover(Lane::Primary, 0);
    EXPECT_THAT(asked(), ElementsAre("scrub 0"));
}

TEST_F(TimelineModelTest, ThePlusFollowsThePointerWhereThereIsNoZoom) {
    timeline.hover(Lane::ZoomPan, x(7));
    EXPECT_FALSE(timeline.hasAddButton());
    timeline.hover(Lane::Primary, x(15));
    EXPECT_FALSE(timeline.hasAddButton());
    timeline.hover(Lane::ZoomPan, x(15));
    ASSERT_TRUE(timeline.hasAddButton());
    EXPECT_EQ(timeline.addButtonX(), x(15));
    static_cast<void>(asked());
    timeline.press(Lane::ZoomPan, {x(15), 34});
    timeline.release(x(15));
    timeline.press(Lane::ZoomPan, {x(15), 40});
    timeline.release(x(15));
    EXPECT_THAT(asked(), ElementsAre("add 9000", "seek 9000")) << "on it and below it";
}

TEST_F(TimelineModelTest, ATrimIsADraftUntilItsEnd) {
    drags(Lane::Primary, x(20) - 3, x(25) - 3);
    EXPECT_EQ(timeline.selectedClipID(), clipA);
    EXPECT_THAT(asked(), IsEmpty());
    ASSERT_TRUE(timeline.trimDraft());
    EXPECT_EQ(timeline.trimDraft()->startSeconds, 5);
    EXPECT_GT(timeline.displayDurationSeconds(), 54);
    EXPECT_EQ(timeline.primarySpans()[1].start, timeline.primarySpans()[0].end());
    EXPECT_EQ(timeline.contentWidth(), 1000) << "the strip still fills the view";
    timeline.cancelDrag();
    EXPECT_EQ(timeline.displayDurationSeconds(), 50);
    EXPECT_THAT(asked(), IsEmpty());

    // The first report that goes far enough is the only one, and the scale changes with the draft.
    timeline.press(Lane::Primary, {x(20) - 3, 5});
    timeline.drag(x(20) - 1);
    EXPECT_EQ(timeline.trimDraft(), std::nullopt) << "that may still be a click";
    timeline.drag(x(18) - 3);
    timeline.release(x(18) - 3);
    EXPECT_THAT(asked(), ElementsAre("trim A 3000 10800 42000"));
    EXPECT_EQ(timeline.trimDraft(), std::nullopt);

    timeline.press(Lane::Primary, {x(0) + 2, 5});
    timeline.drag(x(1) + 2);
    timeline.release(x(1) + 2);
    EXPECT_THAT(asked(), ElementsAre("trim A 3600 11400 42000"));

    timeline.setAssetDurations({});
    timeline.press(Lane::Primary, {x(50) - 3, 5});
    timeline.drag(x(40));
    timeline.release(x(40));
    EXPECT_THAT(asked(), ElementsAre("trim B 18000 0 -")) << "an unknown length counts as none";
}

TEST_F(TimelineModelTest, ZoomsAreTrimmedAndMovedBetweenTheirNeighbours) {
    drags(Lane::ZoomPan, x(10) - 2, x(35) - 2);
    EXPECT_EQ(timeline.selectedZoomPanClipID(), zoomA);
    timeline.release(x(35) - 2);
    drags(Lane::ZoomPan, x(30) + 2, x(5) + 2);
    timeline.release(x(5) + 2);
    EXPECT_THAT(asked(), ElementsAre("trim zoom A 3000 15000 30000", "trim zoom B 6000 14400 30000"));

    drags(Lane::ZoomPan, x(7), x(40));
    ASSERT_TRUE(timeline.zoomPanMoveDraft());
    EXPECT_EQ(timeline.zoomPanMoveDraft()->startSeconds, 38);
    EXPECT_EQ(timeline.zoomPanSpans()[0].start, 25) << "shown where it will come to lie";
    timeline.release(x(40));
    EXPECT_THAT(asked(), ElementsAre("move zoom A 22800 30000"));
    EXPECT_EQ(timeline.zoomPanSpans()[0].start, 5) << "until the editor has moved it";
}

TEST_F(TimelineModelTest, ADragOfAClipsMiddleDoesNothing) {
    drags(Lane::Primary, x(10), x(15));
    timeline.release(x(15));
    EXPECT_THAT(asked(), IsEmpty());
    timeline.press(Lane::Primary, {x(20) - 3, 5});
    timeline.drag(x(18));
    setClips({});
    timeline.drag(x(17));
    timeline.release(x(17));
    SUCCEED() << "a clip that went away while it was dragged";
}

TEST_F(TimelineModelTest, TheKeyboardDoesWhatThePointerDoes) {
    timeline.setCurrentTime(timeFromSeconds(21));
    timeline.step(-1.0 / 30);
    timeline.step(-99);
    timeline.step(99);
    timeline.useAtPlayhead(Lane::Primary);
    timeline.useAtPlayhead(Lane::ZoomPan);
    timeline.selectNeighbour(Lane::Primary, 1);
    timeline.selectNeighbour(Lane::Primary, 1);
    timeline.selectNeighbour(Lane::Primary, 1);
    EXPECT_EQ(timeline.selectedClipID(), clipB);
    timeline.selectNeighbour(Lane::ZoomPan, -1);
    EXPECT_EQ(timeline.selectedZoomPanClipID(), zoomB);
    timeline.nudgeZoomPanClip(-0.5);
    timeline.pressDelete();
    EXPECT_THAT(asked(), ElementsAre("seek 12580", "seek 0", "seek 30000", "split B 600", "add 12600",
                                     "seek 0", "seek 12000", "seek 12000", "seek 18000",
                                     "move zoom B 17700 30000", "delete zoom"));
}

}  // namespace
}  // namespace varnelle
