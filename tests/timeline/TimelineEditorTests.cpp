#include "timeline/TimelineEditor.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cmath>
#include <random>

#include "support/SampleProject.h"
#include "timeline/ZoomPanClipArithmetic.h"

namespace varnelle {
namespace {

using test::rangeOfSeconds;

/// A project of 60 s with a camera, and an editor on it. Times are seconds.
class TimelineEditorTest : public ::testing::Test {
protected:
    static ProjectEditorState freshState() {
        RecordingSession session = test::sessionIn(URL("/recordings/a"));
        session.cameraRecordingURL = URL("/recordings/a/camera.mov");
        ProjectEditorState state;
        state.currentProject = Project::make(session, timeFromSeconds(60), OverlayConfiguration{});
        return state;
    }

    [[nodiscard]] const std::vector<TimelineClip>& clips(std::size_t track = 0) const {
        return editor.project().timeline.tracks[track].clips.elements();
    }
    [[nodiscard]] std::vector<CMTimeRange> zoomPanRanges() const {
        std::vector<CMTimeRange> ranges;
        for (const auto& clip : editor.project().timeline.zoomPanClips) ranges.push_back(clip.timeRange);
        return ranges;
    }
    [[nodiscard]] UUID zoomPanID(std::size_t index) const {
        return editor.project().timeline.zoomPanClips[index].id;
    }
    void split(std::size_t index, double seconds) {
        editor.splitClip(clips()[index].id, 0, timeFromSeconds(seconds));
    }

    TimelineEditor editor{freshState()};
};

TEST_F(TimelineEditorTest, SplitsAnywhereButAtTheEdges) {
    const TimelineClip whole = clips()[0];
    const CMTime margin = CMTime::make(1, 600);
    for (const CMTime& refused : {margin, timeFromSeconds(60) - margin, timeFromSeconds(70), kCMTimeZero,
                                  kCMTimeInvalid, kCMTimePositiveInfinity}) {
        editor.splitClip(whole.id, 0, refused);
    }
    editor.splitClip(UUID::random(), 0, timeFromSeconds(5));
    editor.splitClip(whole.id, 7, timeFromSeconds(5));
    EXPECT_FALSE(editor.canUndo());

    editor.trimClip(whole.id, 0, timeFromSeconds(10), timeFromSeconds(20), timeFromSeconds(60));
    split(0, 5);
    ASSERT_EQ(clips().size(), 2U);
    EXPECT_EQ(clips()[0].trimRange, rangeOfSeconds(10, 5));
    EXPECT_EQ(clips()[1].trimRange, rangeOfSeconds(15, 15));
    EXPECT_EQ(clips()[1].timelineOffset, timeFromSeconds(5));
    EXPECT_NE(clips()[0].id, whole.id);
    EXPECT_NE(clips()[1].id, clips()[0].id);
    EXPECT_EQ(clips(1).size(), 1U);
}

TEST_F(TimelineEditorTest, DeletesAClipWithItsPartOfTheZoomPanLane) {
    editor.deleteClip(clips()[0].id, 0);
    EXPECT_FALSE(editor.canUndo()) << "the only clip stays";

    //          0         10   15        30                     60
    // video    [    a    ][ b ][            c                   ]
    split(0, 10);
    split(1, 5);
    editor.seedZoomPanClips({rangeOfSeconds(7, 3), rangeOfSeconds(8, 8), rangeOfSeconds(12, 2),
                             rangeOfSeconds(14, 2), rangeOfSeconds(14, 1.119), rangeOfSeconds(20, 3)});
    editor.deleteClip(clips()[1].id, 0);
    ASSERT_EQ(clips().size(), 2U);
    EXPECT_EQ(clips()[1].timelineOffset, timeFromSeconds(10));
    // ends where the cut begins: stays; spans it: shrinks; inside, or hardly beyond: goes; the rest moves up
    EXPECT_EQ(zoomPanRanges(), (std::vector{rangeOfSeconds(7, 3), rangeOfSeconds(8, 3), rangeOfSeconds(10, 1),
                                            rangeOfSeconds(15, 3)}));
    editor.undo();
    EXPECT_EQ(zoomPanRanges().size(), 6U);
}

TEST_F(TimelineEditorTest, TrimsWithinTheSource) {
    struct Case {
        std::optional<double> start, duration, asset;
        CMTimeRange expected;
        bool isStep = true;
    };
    const std::vector<Case> cases = {
        {5, 10, 60, rangeOfSeconds(5, 10)},
        {5, {}, 60, rangeOfSeconds(5, 55)},      // what isn't given is kept as far as it fits
        {{}, 0.1, 60, rangeOfSeconds(0, 0.25)},  // shortest clip
        {59.99, 9, 60, rangeOfSeconds(59.75, 0.25)},
        {0, 0.05, 0.1, rangeOfSeconds(0, 0.1), false},  // unless the source is shorter
        {-3, 99, 60, rangeOfSeconds(0, 60), false},     // what it was: no step
        {0, 20, {}, rangeOfSeconds(0, 20)},
        {0, 20, 0, rangeOfSeconds(0, 60), false},  // a source without length can't be trimmed
    };
    for (const Case& trim : cases) {
        editor = TimelineEditor(freshState());
        const auto time = [](const std::optional<double>& seconds) {
            return seconds ? std::optional(CMTime::fromSeconds(*seconds, 600)) : std::nullopt;
        };
        editor.trimClip(clips()[0].id, 0, time(trim.start), time(trim.duration), time(trim.asset));
        const CMTimeRange shown =
            resolvedRange(clips()[0], time(trim.asset.value_or(0) > 0 ? trim.asset : 60));
        EXPECT_EQ(shown, trim.expected) << trim.expected.start.seconds();
        EXPECT_EQ(editor.canUndo(), trim.isStep) << trim.expected.start.seconds();
    }
}

TEST_F(TimelineEditorTest, ZoomPanClipsFollowATrimOfTheVideoTrackOnly) {
    editor.trimClip(clips()[0].id, 0, {}, timeFromSeconds(30), timeFromSeconds(60));
    split(0, 10);
    editor.seedZoomPanClips({rangeOfSeconds(9, 2), rangeOfSeconds(10, 1), rangeOfSeconds(20, 2)});
    editor.trimClip(clips(1)[0].id, 1, {}, timeFromSeconds(4), timeFromSeconds(60));
    EXPECT_EQ(zoomPanRanges()[2], rangeOfSeconds(20, 2)) << "the camera's track has no say";

    editor.trimClip(clips()[0].id, 0, {}, timeFromSeconds(15), timeFromSeconds(60));  // 5 s longer
    EXPECT_EQ(zoomPanRanges(),
              (std::vector{rangeOfSeconds(9, 2), rangeOfSeconds(15, 1), rangeOfSeconds(25, 2)}));
    editor.trimClip(clips()[0].id, 0, {}, timeFromSeconds(10), timeFromSeconds(60));  // and back
    EXPECT_EQ(zoomPanRanges(),
              (std::vector{rangeOfSeconds(9, 1), rangeOfSeconds(10, 1), rangeOfSeconds(20, 2)}));
}

TEST_F(TimelineEditorTest, ZoomPanClipsStopAtTheirNeighbours) {
    //       0    4      8   10        15  17            60
    // lane  .....[  0   ]....[    1   ]...[  2  ]........
    const auto lane = {rangeOfSeconds(4, 4), rangeOfSeconds(10, 5), rangeOfSeconds(17, 3)};
    struct Case {
        double start, duration;
        CMTimeRange expected;
    };
    const std::vector<Case> trims = {
        {9, 7, rangeOfSeconds(9, 7)},
        {5, 20, rangeOfSeconds(8, 9)},            // both neighbours
        {16.99, 0, rangeOfSeconds(16.88, 0.12)},  // the minimum, held back by the next
        {12, 0.01, rangeOfSeconds(12, 0.12)},
        {10, 5, rangeOfSeconds(10, 5)},  // no change, no step
        {5, 4, rangeOfSeconds(8, 1)},    // the end is where it was asked for
    };
    for (const Case& trim : trims) {
        editor = TimelineEditor(freshState());
        editor.seedZoomPanClips(lane);
        editor.trimZoomPanClip(zoomPanID(1), timeFromSeconds(trim.start), timeFromSeconds(trim.duration),
                               timeFromSeconds(60));
        EXPECT_EQ(zoomPanRanges()[1], trim.expected) << trim.start;
        EXPECT_EQ(editor.canUndo(), trim.expected != rangeOfSeconds(10, 5));
    }
    const std::vector<std::pair<double, double>> moves = {{9, 9}, {-5, 8}, {30, 12}, {10, 10}};
    for (const auto& [requested, expected] : moves) {
        editor = TimelineEditor(freshState());
        editor.seedZoomPanClips(lane);
        editor.moveZoomPanClip(zoomPanID(1), timeFromSeconds(60), requested);
        EXPECT_EQ(zoomPanRanges()[1], rangeOfSeconds(expected, 5)) << requested;
        EXPECT_EQ(editor.canUndo(), expected != 10);
    }
    editor.trimZoomPanClip(zoomPanID(2), timeFromSeconds(18), timeFromSeconds(90), timeFromSeconds(60));
    EXPECT_EQ(zoomPanRanges()[2], rangeOfSeconds(18, 42)) << "the end of the timeline";
    const UUID last = zoomPanID(2);
    editor.trimZoomPanClip(last, timeFromSeconds(18), timeFromSeconds(1), kCMTimeZero);
    editor.moveZoomPanClip(UUID::random(), timeFromSeconds(60), 1);
    EXPECT_EQ(zoomPanRanges()[2], rangeOfSeconds(18, 42));
}

TEST_F(TimelineEditorTest, AddsSortedAndDeletesZoomPanClips) {
    editor.addZoomPanClip(rangeOfSeconds(20, 2));
    editor.addZoomPanClip(rangeOfSeconds(5, 2));
    EXPECT_EQ(zoomPanRanges(), (std::vector{rangeOfSeconds(5, 2), rangeOfSeconds(20, 2)}));
    editor.deleteZoomPanClip(zoomPanID(0));
    editor.deleteZoomPanClip(UUID::random());
    EXPECT_EQ(zoomPanRanges(), (std::vector{rangeOfSeconds(20, 2)}));
    EXPECT_EQ(editor.state().undoStack.size(), 3U);
}

TEST_F(TimelineEditorTest, SeedsAnEmptyLaneOnly) {
    editor.seedZoomPanClips({});
    EXPECT_TRUE(zoomPanRanges().empty());
    editor.seedZoomPanClips({rangeOfSeconds(1, 2), rangeOfSeconds(5, 1)});
    editor.seedZoomPanClips({rangeOfSeconds(7, 1)});
    EXPECT_EQ(zoomPanRanges(), (std::vector{rangeOfSeconds(1, 2), rangeOfSeconds(5, 1)}));
    EXPECT_FALSE(editor.canUndo());
}

TEST_F(TimelineEditorTest, UndoesAndRedoes) {
    const ProjectEditorState start = editor.state();
    editor.undo();
    editor.redo();
    EXPECT_EQ(editor.state(), start);

    Project unstorable = editor.project();
    unstorable.timeline.overlayConfiguration.canvasPadding = std::nan("");
    editor.commit(unstorable);
    EXPECT_EQ(editor.state(), start);

    Project renamed = editor.project();
    renamed.name = "Renamed";
    editor.commit(renamed);
    editor.undo();
    EXPECT_EQ(editor.project(), start.currentProject);
    editor.redo();
    EXPECT_EQ(editor.project().name, "Renamed");
    editor.undo();
    split(0, 10);
    EXPECT_FALSE(editor.canRedo()) << "a new edit ends what could be redone";
}

TEST_F(TimelineEditorTest, ASnapshotSharesWhatDidNotChange) {
    split(0, 10);
    editor.seedZoomPanClips({rangeOfSeconds(1, 2)});
    editor.moveZoomPanClip(zoomPanID(0), timeFromSeconds(60), 20);
    const Timeline& before = editor.state().undoStack.back().timeline;
    EXPECT_TRUE(editor.project().timeline.tracks.sharesStorage(before.tracks));
    EXPECT_FALSE(editor.project().timeline.zoomPanClips.sharesStorage(before.zoomPanClips));
    split(0, 5);
    const Timeline& beforeSplit = editor.state().undoStack.back().timeline;
    EXPECT_TRUE(editor.project().timeline.zoomPanClips.sharesStorage(beforeSplit.zoomPanClips));
    EXPECT_TRUE(editor.project().timeline.tracks[1].clips.sharesStorage(beforeSplit.tracks[1].clips));
}

TEST_F(TimelineEditorTest, TenThousandStepsTakeLittleMemory) {
    const auto bytesInUse = [] {
        const struct mallinfo2 info = mallinfo2();
        return info.uordblks + info.hblkhd;
    };
    if (bytesInUse() == 0) GTEST_SKIP() << "a sanitizer keeps the memory of this build";
    Project project = editor.project();
    std::vector<TimelineClip> many(1000, clips()[0]);
    for (TimelineClip& clip : many) clip.id = UUID::random();
    project.timeline.tracks.mutableElements()[0].clips = std::move(many);
    editor = TimelineEditor({project, {}, {}});
    std::vector<CMTimeRange> ranges;
    for (int i = 0; i < 200; ++i) ranges.push_back(rangeOfSeconds(5.0 * i, 2));
    editor.seedZoomPanClips(ranges);
    const UUID last = zoomPanID(199);
    const std::size_t before = bytesInUse();
    for (int i = 0; i < 10'000; ++i) editor.moveZoomPanClip(last, timeFromSeconds(2000), 996 + i % 2);
    EXPECT_EQ(editor.state().undoStack.size(), 10'000U);
    EXPECT_LT(bytesInUse() - before, 200'000'000U);
}

/// A cut, tick by tick of 1/600 s: what is left of a clip is those of its ticks that the cut spares.
TEST(ZoomPanClipArithmetic, CutsLikeCountingTicks) {
    std::mt19937 random(7);
    const auto ticks = [&](std::int64_t most) {
        return std::uniform_int_distribution<std::int64_t>(0, most)(random);
    };
    for (int round = 0; round < 5000; ++round) {
        const std::int64_t cutStart = ticks(900);
        const std::int64_t cutEnd = cutStart + 1 + ticks(600);
        const std::int64_t start = ticks(1500);
        const std::int64_t end = start + ticks(600);
        std::int64_t left = 0;
        std::int64_t firstLeft = -1;
        for (std::int64_t tick = start; tick < end; ++tick) {
            if (tick >= cutStart && tick < cutEnd) continue;
            if (left++ == 0) firstLeft = tick >= cutEnd ? tick - (cutEnd - cutStart) : tick;
        }
        const TimelineZoomPanClip clip{UUID::random(),
                                       {CMTime::make(start, 600), CMTime::make(end - start, 600)}};
        const auto result =
            removingRange({clip}, {CMTime::make(cutStart, 600), CMTime::make(cutEnd - cutStart, 600)});
        const bool isTouched = end > cutStart && start < cutEnd;
        if (isTouched && left < 72) {
            EXPECT_TRUE(result.empty());
        } else if (left > 0) {
            ASSERT_EQ(result.size(), 1U);
            EXPECT_EQ(result[0].timeRange.start, CMTime::make(firstLeft, 600));
            EXPECT_EQ(result[0].timeRange.duration, CMTime::make(left, 600));
        }
    }
}

/// Sequences of random edits, most of them sensible and some not.
class RandomEdits {
public:
    explicit RandomEdits(unsigned seed) : random_(seed) {}

    void apply(TimelineEditor& editor) {
        const Project& project = editor.project();
        const CMTime total = project.totalDuration();
        const double seconds = clampedSeconds(total);
        const std::size_t track = below(10) == 0 ? 1 : 0;
        const auto& clips = project.timeline.tracks[track].clips;
        const TimelineClip clip = clips[below(clips.size())];
        const CMTime source = timeFromSeconds(60);
        const auto& lane = project.timeline.zoomPanClips;
        const UUID laneClip = lane.empty() ? UUID::random() : lane[below(lane.size())].id;
        const bool hasRoom = total >= kMinimumZoomPanDuration;  // else the minimum is the timeline's length
        switch (below(hasRoom ? 9 : 3)) {
            case 0:
                return editor.splitClip(clip.id, track, time(clampedSeconds(clip.trimRange.duration)));
            case 1:
                return editor.deleteClip(clip.id, track);
            case 2: {
                editor.trimClip(clip.id, track, maybe(time(70)), maybe(time(70)), source);
                const auto& trimmed = editor.project().timeline.tracks[track].clips;
                for (const TimelineClip& now : trimmed) {
                    const bool isTrimmed = now.id == clip.id && now.trimRange != clip.trimRange;
                    EXPECT_TRUE(!isTrimmed || now.trimRange.duration >= timeFromSeconds(0.25));
                }
                return;
            }
            case 3:
                return editor.addZoomPanClip(
                    {time(std::max(0.0, seconds - 2)), timeFromSeconds(std::min(2.0, seconds))});
            case 4:
                return editor.trimZoomPanClip(laneClip, time(seconds), time(seconds), total);
            case 5:
                return editor.moveZoomPanClip(laneClip, total, uniform(seconds));
            case 6:
                return editor.deleteZoomPanClip(laneClip);
            case 7:
                return editor.undo();
            default:
                return editor.redo();
        }
    }

private:
    std::size_t below(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
    }
    double uniform(double most) {
        return std::uniform_real_distribution<double>(-0.1 * most, 1.1 * most)(random_);
    }
    CMTime time(double most) { return CMTime::fromSeconds(uniform(most), below(2) == 0 ? 600 : 90'000); }
    std::optional<CMTime> maybe(const CMTime& time) {
        return below(3) == 0 ? std::nullopt : std::optional(time);
    }

    std::mt19937 random_;
};

/// What is wrong with a project's timeline; empty if nothing is.
std::string fault(const Project& project) {
    const CMTime source = timeFromSeconds(60);
    for (const TimelineTrack& track : project.timeline.tracks) {
        CMTime running = kCMTimeZero;
        for (const TimelineClip& clip : track.clips) {
            if (clip.timelineOffset != running) return "a gap or an overlap of clips";
            if (clip.trimRange.duration < CMTime::make(1, 600)) return "a clip without length";
            if (clip.trimRange.end() > source) return "a clip beyond its source";
            running = running + timeFromSeconds(clampedSeconds(clip.trimRange.duration));
        }
    }
    CMTime previous = kCMTimeZero;
    for (const TimelineZoomPanClip& clip : project.timeline.zoomPanClips) {
        if (clip.timeRange.start < previous) return "zoom-pan clips out of order";
        if (clip.timeRange.duration < kMinimumZoomPanDuration) return "a zoom-pan clip that is too short";
        previous = clip.timeRange.start;
    }
    return {};
}

TEST_F(TimelineEditorTest, StaysSoundAndReversibleUnderRandomEdits) {
    for (unsigned seed = 0; seed < 2000; ++seed) {
        editor = TimelineEditor(freshState());
        const Project first = editor.project();
        RandomEdits edits(seed);
        for (int i = 0; i < 30; ++i) {
            edits.apply(editor);
            ASSERT_EQ(fault(editor.project()), "") << "seed " << seed << ", edit " << i;
        }
        while (editor.canRedo()) editor.redo();
        const Project last = editor.project();
        while (editor.canUndo()) editor.undo();
        ASSERT_EQ(editor.project(), first) << "seed " << seed;
        while (editor.canRedo()) editor.redo();
        ASSERT_EQ(editor.project(), last) << "seed " << seed;
    }
}

}  // namespace
}  // namespace varnelle
