#include "recording/CaptureEngine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QCoro/QCoroTask>

#include "foundation/HostClock.h"
#include "foundation/Log.h"
#include "platform/PlatformError.h"
#include "recording/FakeDesktop.h"
#include "recording/SyntheticMedia.h"
#include "support/Waiting.h"
#include "tasks/Await.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::FakeDesktop;
using test::Inbox;
using test::soundSample;
using testing::ElementsAre;
using Output = ScreenStream::OutputType;

class CaptureEngineTest : public testing::Test {
protected:
    void configure(bool systemAudio, bool microphone) {
        CaptureStreamOptions options;
        options.pixelSize = {128, 128};
        options.capturesSystemAudio = systemAudio;
        options.capturesMicrophone = microphone;
        engine.onVideoFrame = [this](const SampleBuffer& sample) { video.put(sample); };
        engine.onSystemAudio = [this](const SampleBuffer& sample) { system.put(sample); };
        engine.onMicAudio = [this](const SampleBuffer& sample) { microphoneSound.put(sample); };
        engine.configureStream(RecordingConfiguration::DisplaySource{FakeDesktop::display(128, 128)},
                               {{17, "", "self"}}, options);
    }

    Inbox<std::string> log;
    LogObserver observer{LogCategory::capture, [this](const std::string& line) { log.put(line); }};
    FakeDesktop desktop;
    Inbox<SampleBuffer> video;
    Inbox<SampleBuffer> system;
    Inbox<SampleBuffer> microphoneSound;
    CaptureEngine engine{desktop};
};

TEST_F(CaptureEngineTest, NeedsAStreamToStartButNotToStop) {
    EXPECT_THROW(await(engine.startCapture()), CaptureError);
    await(engine.stopCapture());
    configure(false, false);
    EXPECT_EQ(std::get<DisplayFilter>(*desktop.usedFilter).excludedApplications,
              (std::vector<ShareableApplication>{{17, "", "self"}}));
    desktop.failsStart = true;
    EXPECT_THROW(await(engine.startCapture()), PlatformError);
}

TEST_F(CaptureEngineTest, LeavesOutPicturesThatAreNotCompleteAndLogsEvery120) {
    configure(true, false);
    await(engine.startCapture());
    SampleBuffer idle = test::screenSample(hostTimeNow());
    idle.attachments.status = FrameStatus::idle;
    for (int i = 0; i < 241; ++i) desktop.deliver(Output::screen, idle);
    desktop.deliver(Output::screen, SampleBuffer{});
    SampleBuffer unmarked = test::screenSample(hostTimeNow());
    unmarked.attachments.status = std::nullopt;
    desktop.deliver(Output::screen, unmarked);
    desktop.deliver(Output::audio, SampleBuffer{});
    desktop.deliver(Output::audio, soundSample(hostTimeNow(), 2));
    ASSERT_TRUE(video.waitForCount(1, 10s));
    ASSERT_TRUE(system.waitForCount(1, 10s));
    EXPECT_EQ(video.count(), 1U);
    EXPECT_THAT(log.items(), ElementsAre("Filtered 120 non-complete screen frames.",
                                         "Filtered 240 non-complete screen frames."));
}

TEST_F(CaptureEngineTest, GoesOnWithoutAMicrophoneThatCannotBeAdded) {
    desktop.refusesMicrophone = true;
    configure(true, true);
    EXPECT_THAT(
        log.items(),
        ElementsAre("Microphone output addition failed (continuing without mic): No microphone here."));
    await(engine.startCapture());
    EXPECT_TRUE(desktop.isStreamRunning());
}

TEST_F(CaptureEngineTest, StreamThatEndsOnItsOwnIsLoggedAndCanBeStopped) {
    configure(false, false);
    await(engine.startCapture());
    desktop.endStream(std::make_exception_ptr(PlatformError(PlatformError::Code::displayLost, "Gone.")));
    EXPECT_THAT(log.items(), ElementsAre("Stream stopped with error: Gone."));
    desktop.failsStop = true;
    EXPECT_THROW(await(engine.stopCapture()), PlatformError);
    desktop.failsStop = false;
    await(engine.stopCapture());
    EXPECT_THROW(await(engine.startCapture()), CaptureError) << "the stream is gone after a stop";
}

}  // namespace
}  // namespace varnelle
