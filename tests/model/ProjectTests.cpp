#include "model/Project.h"

#include <gtest/gtest.h>

#include "support/SampleProject.h"

namespace varnelle {
namespace {

using test::rangeOfSeconds;

const URL kDirectory("/recordings/recording_1");

TEST(Project, FreshProjectCoversTheRecordingOnce) {
    RecordingSession session = test::sessionIn(kDirectory);
    session.cameraRecordingURL = kDirectory.appending("camera.mov");
    session.availableAudioSources = {RecordedAudioSource::microphone};
    const Project project = Project::make(session, timeFromSeconds(12), OverlayConfiguration{});

    EXPECT_EQ(project.name, "recording_1");
    ASSERT_EQ(project.timeline.tracks.size(), 2U);
    EXPECT_EQ(project.timeline.tracks[1].type, TimelineTrack::TrackType::camera);
    EXPECT_EQ(project.timeline.tracks[1].clips.front().sourceURL, *session.cameraRecordingURL);
    EXPECT_EQ(project.totalDuration(), timeFromSeconds(12));
    EXPECT_EQ(project.timeline.audioConfiguration, (AudioConfiguration{false, true}));
    EXPECT_TRUE(project.containsClip(project.firstVideoClipID()));
    EXPECT_FALSE(project.containsClip(std::nullopt));
}

TEST(Project, InfiniteClipBecomesTheWholeFileOnceItsDurationIsKnown) {
    const Project project = Project::make(test::sessionIn(kDirectory), std::nullopt, OverlayConfiguration{});
    EXPECT_EQ(project.totalDuration(), kCMTimeZero);
    const auto segments = project.clipSegments(TimelineTrack::TrackType::video,
                                               {{kDirectory.appending("screen.mov"), timeFromSeconds(12)}});
    ASSERT_EQ(segments.size(), 1U);
    EXPECT_EQ(segments[0].sourceRange, rangeOfSeconds(0, 12));
}

TEST(TimelineClip, ResolvesAgainstTheLengthOfItsSource) {
    struct Case {
        const char* what;
        CMTimeRange trim;
        CMTimeRange resolved;
    };
    const CMTime asset = timeFromSeconds(10);
    for (const Case& c : {
             Case{"inside", rangeOfSeconds(2, 3), rangeOfSeconds(2, 3)},
             Case{"runs off the end", rangeOfSeconds(8, 5), rangeOfSeconds(8, 2)},
             Case{"starts beyond the end", rangeOfSeconds(11, 5), rangeOfSeconds(10, 0)},
             Case{"a zero length stays zero", rangeOfSeconds(2, 0), rangeOfSeconds(2, 0)},
             Case{"infinite", {timeFromSeconds(4), kCMTimePositiveInfinity}, rangeOfSeconds(4, 6)},
             Case{"invalid", {timeFromSeconds(4), kCMTimeInvalid}, rangeOfSeconds(4, 6)},
         }) {
        const TimelineClip clip{UUID::random(), kDirectory, c.trim, kCMTimeZero};
        EXPECT_EQ(resolvedRange(clip, asset), c.resolved) << c.what;
        EXPECT_EQ(resolvedRange(clip, std::nullopt), c.trim) << c.what;
    }
}

TEST(Project, SegmentsFollowEachOther) {
    Project project = test::projectIn(kDirectory, 10);
    auto& clips = project.timeline.tracks.mutableElements()[0].clips;
    clips = {TimelineClip{UUID::random(), kDirectory, rangeOfSeconds(0, 4), timeFromSeconds(0)},
             TimelineClip{UUID::random(), kDirectory, rangeOfSeconds(6, 9), timeFromSeconds(4)},
             TimelineClip{UUID::random(), kDirectory, rangeOfSeconds(1, 1), timeFromSeconds(8)}};
    const auto segments =
        project.clipSegments(TimelineTrack::TrackType::video, {{kDirectory, timeFromSeconds(10)}});
    ASSERT_EQ(segments.size(), 3U);
    EXPECT_EQ(segments[1].sourceRange, rangeOfSeconds(6, 4));
    EXPECT_EQ(segments[2].timelineStart, timeFromSeconds(8));
    EXPECT_EQ(segments[2].index, 2U);
}

TEST(Project, CopiesShareTheirListsUntilOneChanges) {
    Project project = test::projectIn(kDirectory, 10);
    project.timeline.zoomPanClips.append({UUID::random(), rangeOfSeconds(1, 2)});
    Project copy = project;
    EXPECT_TRUE(copy.timeline.zoomPanClips.sharesStorage(project.timeline.zoomPanClips));
    copy.timeline.zoomPanClips.mutableElements()[0].timeRange = rangeOfSeconds(5, 1);
    EXPECT_EQ(project.timeline.zoomPanClips[0].timeRange, rangeOfSeconds(1, 2));
    EXPECT_TRUE(copy.timeline.tracks.sharesStorage(project.timeline.tracks));
    EXPECT_NE(copy, project);
}

TEST(AudioTrackRouting, PairsTracksWithSourcesInOrder) {
    const auto routing = AudioTrackRouting::pairing({5, 6, 7}, {RecordedAudioSource::microphone});
    EXPECT_EQ(routing.trackIDsBySource.at(RecordedAudioSource::microphone), 5);
    EXPECT_EQ(routing.otherTrackIDs, (std::vector<int>{6, 7}));
}

}  // namespace
}  // namespace varnelle
