#include "media/Composition.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "media/VideoComposition.h"

namespace varnelle {
namespace {

CMTime at(std::int64_t value, std::int32_t timescale = 600) {
    return CMTime::make(value, timescale);
}

CMTimeRange range(std::int64_t start, std::int64_t duration, std::int32_t timescale = 600) {
    return {at(start, timescale), at(duration, timescale)};
}

TEST(CompositionTrack, MapsTrackTimeToSourceTimeAcrossCuts) {
    Composition composition;
    CompositionTrack& track = composition.addTrack(MediaType::video);
    EXPECT_EQ(track.trackID(), 1);
    track.insertTimeRange(range(1000, 300), nullptr, {}, kCMTimeZero);
    track.insertTimeRange(range(100, 600), nullptr, {}, at(300));
    EXPECT_EQ(track.duration(), at(900));
    EXPECT_EQ(composition.duration(), at(900));
    EXPECT_EQ(track.segment(at(-1)), nullptr);
    EXPECT_EQ(track.segment(at(900)), nullptr);
    EXPECT_EQ(track.segment(kCMTimeInvalid), nullptr);
    EXPECT_EQ(track.segment(at(299))->sourceTime(at(299)), at(1299));
    EXPECT_EQ(track.segment(at(300))->sourceTime(at(300)), at(100));
    EXPECT_EQ(composition.track(1), &track);
    EXPECT_EQ(composition.track(2), nullptr);
}

TEST(CompositionTrack, InsertingInTheMiddleSplitsAndMovesLaterSegments) {
    CompositionTrack track(1, MediaType::video);
    track.insertTimeRange(range(0, 600), nullptr, {}, kCMTimeZero);
    track.insertTimeRange(range(5000, 60), nullptr, {}, at(200));
    ASSERT_EQ(track.segments().size(), 3U);
    EXPECT_EQ(track.segments()[0].source, range(0, 200));
    EXPECT_EQ(track.segments()[1].target, range(200, 60));
    EXPECT_EQ(track.segments()[2].source, range(200, 400));
    EXPECT_EQ(track.segments()[2].target, range(260, 400));
    EXPECT_EQ(track.duration(), at(660));
}

TEST(CompositionTrack, ScalingIsExactAndKeepsSegmentsTouching) {
    CompositionTrack track(1, MediaType::video);
    track.insertTimeRange(range(0, 7, 30), nullptr, {}, kCMTimeZero);
    track.insertTimeRange(range(10, 3, 30), nullptr, {}, at(7, 30));
    track.insertTimeRange(range(0, 1, 1), nullptr, {}, at(10, 30));
    track.scaleTimeRange({kCMTimeZero, at(10, 30)}, at(1, 7));
    EXPECT_EQ(track.segments()[0].target, (CMTimeRange{kCMTimeZero, at(1, 10)}));
    EXPECT_EQ(track.segments()[1].target, (CMTimeRange{at(1, 10), at(3, 70)}));
    EXPECT_EQ(track.segments()[2].target, (CMTimeRange{at(1, 7), at(1, 1)}));
    // Halfway through the scaled segment is halfway through its source.
    EXPECT_EQ(track.segments()[0].sourceTime(at(1, 20)), at(7, 60));
    EXPECT_FALSE(track.segments()[0].sourceTime(at(1, 20)).flags & CMTime::hasBeenRounded);
    EXPECT_THROW(track.scaleTimeRange({at(1, 20), at(1, 1)}, at(1, 1)), std::invalid_argument);
    EXPECT_THROW(track.scaleTimeRange({kCMTimeZero, at(1, 7)}, kCMTimeZero), std::invalid_argument);
}

TEST(CompositionTrack, RefusesRangesThatAreNone) {
    CompositionTrack track(1, MediaType::video);
    MediaTrack sound;
    sound.mediaType = MediaType::audio;
    EXPECT_THROW(track.insertTimeRange(range(0, 0), nullptr, {}, kCMTimeZero), std::invalid_argument);
    EXPECT_THROW(track.insertTimeRange(range(0, -5), nullptr, {}, kCMTimeZero), std::invalid_argument);
    EXPECT_THROW(track.insertTimeRange({kCMTimeZero, kCMTimeIndefinite}, nullptr, {}, kCMTimeZero),
                 std::invalid_argument);
    EXPECT_THROW(track.insertTimeRange(range(0, 5), nullptr, {}, kCMTimeInvalid), std::invalid_argument);
    EXPECT_THROW(track.insertTimeRange(range(0, 5), nullptr, sound, kCMTimeZero), std::invalid_argument);
    EXPECT_TRUE(track.segments().empty());
    EXPECT_EQ(track.duration(), kCMTimeZero);
}

TEST(VideoRenderContext, RefusesSizesThatCantBeRendered) {
    EXPECT_ANY_THROW(VideoRenderContext({1, 100}));
    EXPECT_ANY_THROW(VideoRenderContext({100, 16385}));
    EXPECT_ANY_THROW(VideoRenderContext({std::nan(""), 100}));
    EXPECT_EQ(VideoRenderContext({320, 180}).newPixelBuffer().width(), 320);
}

}  // namespace
}  // namespace varnelle
