#include "recording/SampleTimeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/Log.h"
#include "recording/SyntheticMedia.h"

namespace varnelle {
namespace {

using test::cameraSample;
using test::hostSeconds;
using test::screenSample;
using test::soundSample;
using testing::ElementsAre;
using testing::IsEmpty;

/// A track that remembers what it was given, or refuses it.
class FakeInput final : public AssetWriterInput {
public:
    bool isReadyForMoreMediaData() const override { return isReady; }
    bool append(const SampleBuffer& sample) override {
        if (!accepts) return false;
        samples.push_back(sample);
        return true;
    }
    void requestMediaDataWhenReady(SerialQueue&, std::function<void()>) override {}
    void markAsFinished() override {}

    [[nodiscard]] std::vector<double> times() const {
        std::vector<double> result;
        for (const SampleBuffer& sample : samples) result.push_back(sample.presentationTime.seconds());
        return result;
    }

    bool isReady = true;
    bool accepts = true;
    std::vector<SampleBuffer> samples;
};

class SampleTimelineTest : public testing::Test {
protected:
    void SetUp() override {
        for (const StreamKind kind : kStreamKinds) timeline.setInput(kind, &inputs[kind]);
        timeline.reset(PipelinePhase::warmingUp);
    }
    /// Has the camera deliver the frames that are thrown away at its start.
    void startCamera() {
        for (int i = 0; i < SampleTimeline::kCameraStartupDiscardFrames; ++i) {
            timeline.handle(cameraSample(hostSeconds(90 + i * 0.01)), StreamKind::cameraVideo);
        }
    }
    std::vector<double> times(StreamKind kind) { return inputs[kind].times(); }

    static constexpr StreamRequirements kAll{true, true, true, true};

    PerStream<FakeInput> inputs;
    SampleTimeline timeline;
};

TEST_F(SampleTimelineTest, NewestWarmUpPicturesStandAtExactlyZeroAndWarmUpSoundIsDropped) {
    startCamera();
    for (const double t : {99.0, 99.5, 99.9}) {
        timeline.handle(screenSample(hostSeconds(t), t == 99.9 ? 0xff0000 : 0), StreamKind::screenVideo);
        timeline.handle(cameraSample(hostSeconds(t)), StreamKind::cameraVideo);
        timeline.handle(soundSample(hostSeconds(t), 2), StreamKind::systemAudio);
        timeline.handle(soundSample(hostSeconds(t), 1), StreamKind::microphoneAudio);
    }
    EXPECT_THAT(times(StreamKind::screenVideo), IsEmpty()) << "nothing is written before going live";
    timeline.goLive(hostSeconds(100), kAll);
    ASSERT_THAT(times(StreamKind::screenVideo), ElementsAre(0.0));
    EXPECT_EQ(inputs[StreamKind::screenVideo].samples[0].presentationTime, kCMTimeZero);
    EXPECT_EQ(inputs[StreamKind::screenVideo].samples[0].image()->plane(0).data[2], 0xff) << "the newest one";
    EXPECT_THAT(times(StreamKind::cameraVideo), ElementsAre(0.0));
    EXPECT_THAT(times(StreamKind::systemAudio), IsEmpty());
    EXPECT_THAT(times(StreamKind::microphoneAudio), IsEmpty());

    timeline.handle(soundSample(hostSeconds(99.99), 2), StreamKind::systemAudio);
    timeline.handle(soundSample(hostSeconds(100.25), 2), StreamKind::systemAudio);
    EXPECT_THAT(times(StreamKind::systemAudio), ElementsAre(0.25));
}

TEST_F(SampleTimelineTest, WritesAtHostTimeMinusOriginAndOnlyForwards) {
    timeline.handle(screenSample(hostSeconds(99.99)), StreamKind::screenVideo);
    timeline.goLive(hostSeconds(100), {});
    for (const double t : {99.98, 99.99, 99.995, 100.0, 100.0, 100.5, 100.25, 100.5, 101.0}) {
        timeline.handle(screenSample(hostSeconds(t)), StreamKind::screenVideo);
    }
    EXPECT_THAT(times(StreamKind::screenVideo), ElementsAre(0.0, 0.0, 0.5, 1.0))
        << "the sample at the origin itself is later than the warm-up picture; the writer decides about it";
    timeline.beginStopping();
    timeline.handle(screenSample(hostSeconds(102)), StreamKind::screenVideo);
    EXPECT_EQ(times(StreamKind::screenVideo).size(), 4U);
}

TEST_F(SampleTimelineTest, LostSamplesDoNotMoveTheMark) {
    std::vector<std::string> log;
    const LogObserver observer(LogCategory::recording,
                               [&log](const std::string& line) { log.push_back(line); });
    timeline.handle(screenSample(hostSeconds(99)), StreamKind::screenVideo);
    timeline.goLive(hostSeconds(100), {});
    FakeInput& input = inputs[StreamKind::screenVideo];
    input.isReady = false;
    timeline.handle(screenSample(hostSeconds(100.2)), StreamKind::screenVideo);
    EXPECT_THAT(log, IsEmpty());
    input.isReady = true;
    input.accepts = false;
    timeline.handle(screenSample(hostSeconds(100.3)), StreamKind::screenVideo);
    EXPECT_THAT(log, ElementsAre("Failed to append screen video sample."));
    input.accepts = true;
    timeline.handle(screenSample(hostSeconds(100.1)), StreamKind::screenVideo);
    EXPECT_THAT(times(StreamKind::screenVideo), ElementsAre(0.0, testing::DoubleNear(0.1, 1e-9)));
    EXPECT_EQ(timeline.statistics()[StreamKind::screenVideo], (StreamStatistics{2, 2}));

    timeline.setInput(StreamKind::systemAudio, nullptr);
    timeline.handle(soundSample(hostSeconds(101), 2), StreamKind::systemAudio);
    EXPECT_EQ(timeline.statistics()[StreamKind::systemAudio], (StreamStatistics{0, 1}));
}

TEST_F(SampleTimelineTest, EachStreamNamesItsFailure) {
    std::vector<std::string> log;
    const LogObserver observer(LogCategory::recording,
                               [&log](const std::string& line) { log.push_back(line); });
    startCamera();
    timeline.goLive(hostSeconds(100), {});
    for (const StreamKind kind : kStreamKinds) {
        inputs[kind].accepts = false;
        timeline.handle(cameraSample(hostSeconds(101)), kind);
    }
    EXPECT_THAT(
        log,
        ElementsAre("Failed to append screen video sample.", "Failed to append camera video sample.",
                    "Failed to append system audio sample.", "Failed to append microphone audio sample."));
}

TEST_F(SampleTimelineTest, CameraSettlesForThreeFramesOnce) {
    timeline.handle(cameraSample(hostSeconds(98)), StreamKind::cameraVideo);
    timeline.handle(cameraSample(hostSeconds(98.1)), StreamKind::cameraVideo);
    EXPECT_FALSE(timeline.hasDelivered(StreamKind::cameraVideo));
    timeline.goLive(hostSeconds(100), kAll);
    timeline.handle(cameraSample(hostSeconds(100.1)), StreamKind::cameraVideo);
    EXPECT_THAT(times(StreamKind::cameraVideo), IsEmpty()) << "the third one, counted over the start";
    timeline.handle(cameraSample(hostSeconds(100.5)), StreamKind::cameraVideo);
    SampleBuffer dependent = cameraSample(hostSeconds(100.75));
    dependent.attachments.notSync = true;
    timeline.handle(dependent, StreamKind::cameraVideo);
    timeline.handle(soundSample(hostSeconds(100.8), 1), StreamKind::cameraVideo);
    timeline.handle(cameraSample(hostSeconds(101)), StreamKind::cameraVideo);
    EXPECT_THAT(times(StreamKind::cameraVideo), ElementsAre(0.5, 1.0));
}

TEST_F(SampleTimelineTest, OnlyRequiredVideoIsWrittenAtZero) {
    startCamera();
    timeline.handle(screenSample(hostSeconds(99)), StreamKind::screenVideo);
    timeline.handle(cameraSample(hostSeconds(99)), StreamKind::cameraVideo);
    timeline.goLive(hostSeconds(100), {true, false, false, false});
    EXPECT_THAT(times(StreamKind::screenVideo), ElementsAre(0.0));
    EXPECT_THAT(times(StreamKind::cameraVideo), IsEmpty());
}

TEST_F(SampleTimelineTest, HearsOnlyWhileWarmingUpOrRecording) {
    for (const PipelinePhase phase : {PipelinePhase::idle, PipelinePhase::stopping}) {
        timeline.reset(phase);
        timeline.handle(screenSample(hostSeconds(99)), StreamKind::screenVideo);
        EXPECT_FALSE(timeline.hasDelivered(StreamKind::screenVideo));
    }
    timeline.reset(PipelinePhase::warmingUp);
    timeline.handle(SampleBuffer{}, StreamKind::screenVideo);
    SampleBuffer timeless = screenSample(kCMTimeInvalid);
    timeless.attachments.displayTime = std::nullopt;
    timeline.handle(timeless, StreamKind::screenVideo);
    EXPECT_FALSE(timeline.hasDelivered(StreamKind::screenVideo));
}

TEST_F(SampleTimelineTest, StatusNamesTheRequiredStreamsInOrder) {
    timeline.handle(screenSample(hostSeconds(99)), StreamKind::screenVideo);
    EXPECT_EQ(timeline.statusText({}), "screen=true");
    EXPECT_EQ(timeline.statusText(kAll), "screen=true, camera=false, systemAudio=false, microphone=false");
    EXPECT_TRUE(timeline.haveAllDelivered({}));
    EXPECT_FALSE(timeline.haveAllDelivered(kAll));
    timeline.handle(soundSample(hostSeconds(99), 1), StreamKind::microphoneAudio);
    EXPECT_EQ(timeline.statusText({true, false, false, true}), "screen=true, microphone=true");
}

TEST(HostTimeOf, PrefersDisplayTimeThenOutputTimeThenPresentationTime) {
    SampleBuffer sample = cameraSample(hostSeconds(1));
    EXPECT_EQ(hostTimeOf(sample, StreamKind::screenVideo), hostSeconds(1));
    sample.outputPresentationTime = hostSeconds(2);
    EXPECT_EQ(hostTimeOf(sample, StreamKind::screenVideo), hostSeconds(2));
    sample.attachments.displayTime = hostSeconds(3);
    EXPECT_EQ(hostTimeOf(sample, StreamKind::screenVideo), hostSeconds(3));
    EXPECT_EQ(hostTimeOf(sample, StreamKind::cameraVideo), hostSeconds(2));
    sample.outputPresentationTime = kCMTimeIndefinite;
    EXPECT_EQ(hostTimeOf(sample, StreamKind::cameraVideo), hostSeconds(1));
    sample.presentationTime = kCMTimeInvalid;
    EXPECT_EQ(hostTimeOf(sample, StreamKind::cameraVideo), std::nullopt);
}

}  // namespace
}  // namespace varnelle
