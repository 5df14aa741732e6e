#include "render/VideoCompositor.h"

#include <gtest/gtest.h>

#include "camera/CursorRecordingFile.h"
#include "foundation/AtomicFile.h"
#include "media/AssetReader.h"
#include "media/MediaError.h"
#include "render/VideoCompositorError.h"
#include "support/MediaFixtures.h"
#include "support/SampleProject.h"
#include "support/Telemetry.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

using Code = VideoCompositorError::Code;
using test::rangeOfSeconds;

class VideoCompositorTest : public testing::Test {
protected:
    VideoCompositorTest() {
        test::writeNumberedMovie(movie, test::smallVideo(64, 48), test::regularTimes(40, 20), {},
                                 timeFromSeconds(2));
        project = test::projectIn(directory.url(), 2);
        project.recordingSession.screenRecordingURL = movie;
        project.recordingSession.renderSize = {640, 480};
    }

    void setClips(const std::vector<std::pair<CMTimeRange, double>>& clips) {
        std::vector<TimelineClip> list;
        for (const auto& [range, offset] : clips)
            list.push_back({UUID::random(), movie, range, timeFromSeconds(offset)});
        project.timeline.tracks.mutableElements()[0].clips = list;
    }

    [[nodiscard]] Code failure() const {
        try {
            (void)VideoCompositor::buildComposition(project);
        } catch (const VideoCompositorError& error) {
            return error.code();
        }
        ADD_FAILURE() << "no error";
        return Code::renderContextUnavailable;
    }

    [[nodiscard]] static const OverlayVideoCompositionInstruction::Contents& contentsOf(
        const CompositionResult& result) {
        return dynamic_cast<const OverlayVideoCompositionInstruction&>(*result.videoComposition.instruction)
            .contents();
    }

    test::TemporaryDirectory directory;
    URL movie = directory.file("screen.mov");
    Project project;
};

TEST_F(VideoCompositorTest, CutsFollowEachOtherOnTheTimelineAndInTheTelemetry) {
    setClips({{rangeOfSeconds(0.5, 0.5), 0}, {rangeOfSeconds(0, 0.25), 0.5}, {rangeOfSeconds(1.5, 9), 0.75}});
    const auto result = VideoCompositor::buildComposition(project);
    EXPECT_EQ(result.duration, timeFromSeconds(1.25)) << "the last clip ends with its file";
    const auto& mapper = contentsOf(result).sourceTimeMapper;
    EXPECT_EQ(mapper.sourceTime(timeFromSeconds(0.6)), timeFromSeconds(0.1));
    EXPECT_EQ(mapper.sourceTime(timeFromSeconds(0.8)), timeFromSeconds(1.55));
    const CompositionTrack* track = result.composition->track(result.videoTrackID);
    EXPECT_EQ(track->segment(timeFromSeconds(0.6))->sourceTime(timeFromSeconds(0.6)), timeFromSeconds(0.1));
}

TEST_F(VideoCompositorTest, SizesAndRates) {
    auto result = VideoCompositor::buildComposition(project);
    EXPECT_EQ(result.renderSize, (CGSize{640, 480}));
    EXPECT_EQ(result.frameRate, 30) << "the movie's 20 a second are raised to 30";
    EXPECT_EQ(result.videoComposition.frameDuration, CMTime::make(1, 30));
    result = VideoCompositor::buildComposition(project, CGSize{1280, 720}, 24);
    EXPECT_EQ(result.renderSize, (CGSize{1280, 720}));
    EXPECT_EQ(result.videoComposition.frameDuration, CMTime::make(1, 30));
    project.recordingSession.renderSize = {0, 0};
    EXPECT_EQ(VideoCompositor::buildComposition(project, std::nullopt, 60).renderSize, (CGSize{64, 48}));
}

TEST_F(VideoCompositorTest, ProjectsThatCantBeComposedSayWhy) {
    setClips({{rangeOfSeconds(0, 1), 0}, {rangeOfSeconds(0, 1), 1.01}});
    EXPECT_EQ(failure(), Code::inconsistentTimelineOffsets);
    setClips({{rangeOfSeconds(0, 1), 0}, {rangeOfSeconds(0, 1), 1 + 1.0 / 600}});
    EXPECT_NO_THROW((void)VideoCompositor::buildComposition(project)) << "one unit of the grid is tolerated";
    setClips({{rangeOfSeconds(5, 1), 0}});
    EXPECT_EQ(failure(), Code::noVideoClips) << "beyond the end of its file";
    setClips({});
    EXPECT_EQ(failure(), Code::noVideoClips);
    project.timeline.tracks = {};
    EXPECT_EQ(failure(), Code::noVideoClips);
    project = test::projectIn(directory.file("elsewhere"), 2);
    EXPECT_THROW((void)VideoCompositor::buildComposition(project), MediaError);
}

TEST_F(VideoCompositorTest, ShortCameraIsStretchedAndTelemetryIsOptional) {
    const URL camera = directory.file("camera.mov");
    test::writeNumberedMovie(camera, test::smallVideo(64, 48), test::regularTimes(20, 20), {},
                             timeFromSeconds(1));
    project.recordingSession.cameraRecordingURL = camera;
    project.recordingSession.cursorRecordingURL = directory.file("cursor.json");
    auto result = VideoCompositor::buildComposition(project);
    ASSERT_TRUE(result.cameraTrackID);
    const auto& segments = result.composition->track(*result.cameraTrackID)->segments();
    ASSERT_EQ(segments.size(), 1U);
    EXPECT_EQ(segments[0].target, rangeOfSeconds(0, 2));
    EXPECT_EQ(segments[0].source.duration, timeFromSeconds(1));
    EXPECT_EQ(result.videoComposition.instruction->requiredSourceTrackIDs().size(), 2U);
    EXPECT_FALSE(contentsOf(result).cursorRecording) << "no file";

    writeFileAtomically(directory.file("cursor.json"), "{");
    EXPECT_FALSE(contentsOf(VideoCompositor::buildComposition(project)).smoothingCamera);
    writeCursorRecording(test::restingPointer(2, {0.5, 0.5}), directory.file("cursor.json"));
    result = VideoCompositor::buildComposition(project);
    EXPECT_TRUE(contentsOf(result).smoothingCamera);
    EXPECT_EQ(result.autoZoomAndPanActiveRanges.size(), 1U);
}

TEST_F(VideoCompositorTest, ACameraWithoutPicturesIsNone) {
    // As a recording leaves it that is killed before the camera's first picture.
    const URL camera = directory.file("camera.mov");
    {
        AssetWriter writer(directory.file("growing.mov"), FileType::quickTimeMovie,
                           {.survivesTermination = true});
        writer.addVideoInput(test::smallVideo(64, 48));
        ASSERT_TRUE(writer.startWriting());
        std::filesystem::copy(directory.file("growing.mov").path(), camera.path());
    }
    project.recordingSession.cameraRecordingURL = camera;
    EXPECT_FALSE(VideoCompositor::buildComposition(project).cameraTrackID);
    AssetWriter writer(camera, FileType::quickTimeMovie, {});
    AssetWriterInput* sound = writer.addAudioInput({});
    ASSERT_TRUE(writer.startWriting());
    writer.startSession(kCMTimeZero);
    ASSERT_TRUE(
        test::appendWaiting(*sound, test::audioSample(48'000, 2, std::vector<float>(9'600), kCMTimeZero)));
    ASSERT_EQ(test::finishAndWait(writer), TransferStatus::completed);
    EXPECT_FALSE(VideoCompositor::buildComposition(project).cameraTrackID) << "sound alone";
    writeFileAtomically(camera, "no movie");
    EXPECT_THROW((void)VideoCompositor::buildComposition(project), MediaError);
}

/// The number that the bubble shows at a moment, where the bubble covers the canvas. Without one the dark
/// canvas reads as 0.
int cameraNumberAt(const Project& project, double seconds) {
    const CompositionResult result = VideoCompositor::buildComposition(project);
    AssetReader reader(result.composition, result.videoComposition);
    EXPECT_TRUE(reader.startReading());
    while (const auto sample = reader.copyNextSampleBuffer()) {
        if (sample->presentationTime < timeFromSeconds(seconds)) continue;
        const VideoFrame& composed = *sample->image();
        VideoFrame luma = VideoFrame::allocate(PixelFormat::i420, composed.width(), composed.height(),
                                               ColorDescription::bt709Limited());
        for (int y = 0; y < composed.height(); ++y) {
            for (int x = 0; x < composed.width(); ++x) {
                const int green = composed.plane(0).data[y * composed.plane(0).bytesPerRow + 4 * x + 1];
                luma.plane(0).data[y * luma.plane(0).bytesPerRow + x] =
                    static_cast<std::uint8_t>(16 + green * 219 / 255);
            }
        }
        return test::readNumber(luma);
    }
    return -1;
}

TEST_F(VideoCompositorTest, TheCameraFollowsTheCutsOfTheScreen) {
    project.recordingSession.renderSize = {128, 128};
    OverlayConfiguration& look = project.timeline.overlayConfiguration;
    look.wallpaperPath = "procedural://gradient/none";
    look.relativeSize = 1;
    look.padding = 0;
    look.maskType = OverlayMaskType::square;
    look.overlayShadowOpacity = 0;
    const auto recordsCamera = [&](int frames, int rate) {
        const URL camera = directory.file(std::to_string(frames) + ".mov");
        test::writeNumberedMovie(camera, test::smallVideo(128, 128), test::regularTimes(frames, rate), {},
                                 CMTime::make(frames, rate));
        project.recordingSession.cameraRecordingURL = camera;
    };
    struct Case {
        const char* what;
        int frames, rate;
        int whole, cut;  ///< the picture at 1 s of the whole movie, and at 0.5 s of a clip that begins at 1 s
    };
    for (const Case& c :
         {Case{"as long as the screen", 40, 20, 20, 30}, Case{"longer, another rate", 30, 10, 10, 15},
          Case{"shorter, so stretched; nothing is left of it in the cut", 20, 20, 10, 0}}) {
        recordsCamera(c.frames, c.rate);
        setClips({{rangeOfSeconds(0, 2), 0}});
        EXPECT_EQ(cameraNumberAt(project, 1), c.whole) << c.what;
        setClips({{rangeOfSeconds(1, 1), 0}});
        EXPECT_EQ(cameraNumberAt(project, 0.5), c.cut) << c.what;
    }
}

}  // namespace
}  // namespace varnelle
