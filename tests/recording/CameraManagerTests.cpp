#include "recording/CameraManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/Log.h"
#include "platform/PlatformError.h"
#include "recording/DeviceLabel.h"
#include "recording/FakeDesktop.h"
#include "recording/SyntheticMedia.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using testing::ElementsAre;

class CameraManagerTest : public testing::Test {
protected:
    CameraManagerTest() { desktop.cameraList = {{"front", "Front Camera"}, {"desk", "Desk Camera"}}; }

    void deliver(int count) {
        for (int i = 0; i < count; ++i) {
            const SampleBuffer sample = test::cameraSample(test::hostSeconds(++frameNumber));
            desktop.cameraOutput->queue->sync([&] { desktop.cameraOutput->onFrame(sample); });
        }
    }
    void drop(int count) {
        for (int i = 0; i < count; ++i) {
            desktop.cameraOutput->queue->sync([&] { desktop.cameraOutput->onDrop(); });
        }
    }
    static CameraError::Code failureOf(const std::function<void()>& action) {
        try {
            action();
        } catch (const CameraError& error) {
            return error.code();
        }
        ADD_FAILURE() << "no error";
        return CameraError::Code::cannotAddOutput;
    }

    test::FakeDesktop desktop;
    int frameNumber = 0;
};

TEST_F(CameraManagerTest, TakesTheWantedCameraOrTheFirstAndNoSubstitute) {
    CameraManager manager(desktop);
    EXPECT_EQ(manager.activeFormatDimensions(), std::nullopt);
    manager.start();
    EXPECT_FALSE(manager.isRunning()) << "nothing to start";
    manager.setup(std::nullopt);
    EXPECT_EQ(desktop.usedCameraID, "front");
    manager.setup("desk");
    EXPECT_EQ(desktop.usedCameraID, "desk");
    EXPECT_EQ(manager.currentDevice()->localizedName, "Desk Camera");
    EXPECT_EQ(manager.activeFormatDimensions(), (PixelSize{640, 480}));
    manager.start();
    EXPECT_TRUE(manager.isRunning());

    EXPECT_EQ(failureOf([&] { manager.setup("unplugged"); }), CameraError::Code::noDeviceAvailable);
    EXPECT_EQ(manager.currentDevice(), std::nullopt);
    EXPECT_EQ(desktop.runningCameraSessions, 0) << "the camera that was set up before is let go";
    desktop.refusesCamera = true;
    EXPECT_EQ(failureOf([&] { manager.setup("desk"); }), CameraError::Code::cannotAddInput);
    desktop.cameraList.clear();
    EXPECT_EQ(failureOf([&] { manager.setup(std::nullopt); }), CameraError::Code::noDeviceAvailable);
}

TEST_F(CameraManagerTest, RecordingAndPreviewSeeTheSameFramesIndependently) {
    CameraManager manager(desktop);
    manager.setup(std::nullopt);
    manager.start();
    int recorded = 0;
    int previewed = 0;
    manager.setOnPreviewFrame([&](const SampleBuffer&) { ++previewed; });
    EXPECT_FALSE(manager.latestFrame().has_value());
    deliver(2);
    manager.setOnCameraFrame([&](const SampleBuffer&) { ++recorded; });
    deliver(3);
    manager.setOnCameraFrame({});
    deliver(1);
    EXPECT_EQ(recorded, 3);
    EXPECT_EQ(previewed, 6);
    EXPECT_EQ(manager.latestFrame()->presentationTime, test::hostSeconds(6));
    EXPECT_EQ(manager.counters(), (CameraManager::Counters{6, 0}));
}

TEST_F(CameraManagerTest, MicrophoneRunsBesideTheCameraIfItIsThere) {
    desktop.microphoneList = {{"mic", "Desk Microphone"}};
    test::Inbox<std::string> log;
    const LogObserver observer(LogCategory::capture, [&](const std::string& line) { log.put(line); });
    CameraManager manager(desktop);
    manager.setup(std::nullopt, "unplugged");
    EXPECT_FALSE(manager.isCapturingAudio());
    manager.setup(std::nullopt, "mic");
    EXPECT_TRUE(manager.isCapturingAudio());
    EXPECT_THAT(log.items(), ElementsAre("Mic added to camera session: Desk Microphone"));
    int heard = 0;
    manager.setOnMicAudio([&](const SampleBuffer&) { ++heard; });
    manager.start();
    EXPECT_EQ(desktop.runningMicrophoneSessions, 1);
    desktop.hearMicrophone(test::soundSample(test::hostSeconds(1), 1));
    EXPECT_EQ(heard, 1);
    manager.stop();
    EXPECT_EQ(desktop.runningMicrophoneSessions, 0);
    desktop.refusesMicrophone = true;
    EXPECT_THROW(manager.setup(std::nullopt, "mic"), PlatformError);
}

TEST_F(CameraManagerTest, LogsDropsNowAndThen) {
    test::Inbox<std::string> log;
    const LogObserver observer(LogCategory::capture, [&](const std::string& line) { log.put(line); });
    CameraManager manager(desktop);
    manager.setup(std::nullopt);
    deliver(300);
    EXPECT_TRUE(log.items().empty()) << "nothing has been dropped";
    drop(59);
    EXPECT_TRUE(log.items().empty());
    drop(1);
    deliver(299);
    drop(60);
    deliver(1);
    EXPECT_THAT(log.items(),
                ElementsAre("Dropped camera video frames: 60", "Dropped camera video frames: 120",
                            "Video frames forwarded=600, dropped=120"));
}

TEST(DeviceLabel, ShortensPhonesUnlessThereAreSeveral) {
    const std::vector<std::string> names{"Anna's iPhone Camera (Work)", "Built-in Camera", "ben's IPHONE MIC",
                                         "iPad Cam of Anna", "iPad Camera of Ben"};
    EXPECT_EQ(deviceLabel(names, names[0]), "iPhone Camera");
    EXPECT_EQ(deviceLabel(names, names[1]), "Built-in Camera");
    EXPECT_EQ(deviceLabel(names, names[2]), "iPhone Microphone");
    EXPECT_EQ(deviceLabel(names, names[3]), names[3]);
    EXPECT_EQ(deviceLabel(names, names[4]), names[4]);
    EXPECT_EQ(deviceLabel({}, "Carl's iPad Microphone"), "Carl's iPad Microphone") << "not among the names";
}

}  // namespace
}  // namespace varnelle
