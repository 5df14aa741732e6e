#include "recording/MovieTrackRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QCoro/QCoroTask>

#include "media/MediaAsset.h"
#include "media/MediaError.h"
#include "recording/RecordingError.h"
#include "recording/SyntheticMedia.h"
#include "support/TemporaryDirectory.h"
#include "tasks/Await.h"

namespace varnelle {
namespace {

using test::hostSeconds;

const VideoSettings kSmall = recordingVideoSettings(60, 6'000'000, 128, 128);

TEST(RecordingSettings, PictureIsLiveHevcInBT709AndSoundIs48kHz) {
    const VideoSettings video = recordingVideoSettings(60, 16'588'800, 1920, 1080);
    EXPECT_EQ(video.codec, VideoCodec::hevc);
    EXPECT_EQ(video.purpose, EncodingPurpose::liveCapture);
    EXPECT_EQ(video.width, 1920);
    EXPECT_EQ(video.height, 1080);
    EXPECT_EQ(video.averageBitRate, 16'588'800);
    EXPECT_EQ(video.expectedSourceFrameRate, 60);
    EXPECT_EQ(video.color, ColorDescription::bt709Limited());
    const AudioSettings microphone = recordingAudioSettings(1, 128'000);
    EXPECT_EQ(microphone.sampleRate, 48000);
    EXPECT_EQ(microphone.channelCount, 1);
    EXPECT_EQ(microphone.bitRate, 128'000);
}

TEST(MovieTrackRecorder, TracksAreVideoThenSystemSoundThenMicrophone) {
    const test::TemporaryDirectory directory;
    for (const bool hasSound : {false, true}) {
        const URL url = directory.file(hasSound ? "sound.mov" : "silent.mov");
        std::optional<AudioSettings> system;
        std::optional<AudioSettings> microphone;
        if (hasSound) system = recordingAudioSettings(2, 192'000);
        if (hasSound) microphone = recordingAudioSettings(1, 128'000);
        MovieTrackRecorder recorder(url, kSmall, system, microphone, MediaDataPace::realTime);
        recorder.start();
        ASSERT_TRUE(recorder.videoInput()->append(test::screenSample(kCMTimeZero)));
        if (hasSound) {
            ASSERT_TRUE(recorder.systemAudioInput()->append(test::soundSample(kCMTimeZero, 2)));
            ASSERT_TRUE(recorder.microphoneAudioInput()->append(test::soundSample(kCMTimeZero, 1)));
        } else {
            EXPECT_EQ(recorder.systemAudioInput(), nullptr);
            EXPECT_EQ(recorder.microphoneAudioInput(), nullptr);
        }
        await(recorder.finish(hostSeconds(2)));
        const MediaAsset asset(url);
        ASSERT_EQ(asset.tracks().size(), hasSound ? 3U : 1U);
        EXPECT_EQ(asset.tracks()[0].mediaType, MediaType::video);
        EXPECT_NEAR(asset.tracks()[0].duration.seconds(), 2, 0.02);
        if (!hasSound) continue;
        EXPECT_EQ(asset.tracks()[1].channelCount, 2);
        EXPECT_EQ(asset.tracks()[2].channelCount, 1);
    }
}

TEST(MovieTrackRecorder, RefusedTracksNameTheFile) {
    const test::TemporaryDirectory directory;
    VideoSettings odd = kSmall;
    odd.width = 127;
    try {
        const MovieTrackRecorder recorder(directory.file("camera.mov"), odd, std::nullopt, std::nullopt,
                                          MediaDataPace::realTime);
        ADD_FAILURE() << "no error";
    } catch (const RecordingError& error) {
        EXPECT_EQ(error.code(), RecordingError::Code::writerFailed);
        EXPECT_STREQ(error.what(), "Unable to add video track for camera.mov.");
    }
    AudioSettings absurd = recordingAudioSettings(2, 192'000);
    absurd.channelCount = 0;
    for (const bool isMicrophone : {false, true}) {
        std::optional<AudioSettings> system;
        if (!isMicrophone) system = absurd;
        std::optional<AudioSettings> microphone;
        if (isMicrophone) microphone = absurd;
        try {
            const MovieTrackRecorder recorder(directory.file("screen.mov"), kSmall, system, microphone,
                                              MediaDataPace::realTime);
            ADD_FAILURE() << "no error";
        } catch (const RecordingError& error) {
            EXPECT_STREQ(error.what(), isMicrophone ? "Unable to add microphone audio track."
                                                    : "Unable to add system audio track.");
        }
    }
}

TEST(MovieTrackRecorder, FileThatCannotBeMadeFailsWithTheWritersError) {
    const test::TemporaryDirectory directory;
    EXPECT_THROW(
        {
            MovieTrackRecorder recorder(directory.file("missing/screen.mov"), kSmall, std::nullopt,
                                        std::nullopt, MediaDataPace::realTime);
            recorder.start();
        },
        Error);
}

TEST(MovieTrackRecorder, FinishWithoutSamplesReportsTheWritersError) {
    const test::TemporaryDirectory directory;
    MovieTrackRecorder recorder(directory.file("screen.mov"), kSmall, std::nullopt, std::nullopt,
                                MediaDataPace::realTime);
    recorder.start();
    EXPECT_THROW(await(recorder.finish(hostSeconds(1))), Error);
}

}  // namespace
}  // namespace varnelle
