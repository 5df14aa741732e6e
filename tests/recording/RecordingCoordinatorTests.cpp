#include "recording/RecordingCoordinator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QCoro/QCoroTimer>
#include <QThread>

#include <atomic>
#include <filesystem>

#include "camera/CursorRecordingFile.h"
#include "foundation/DirectoryLock.h"
#include "foundation/Log.h"
#include "media/MediaAsset.h"
#include "platform/PlatformError.h"
#include "recording/FakeDesktop.h"
#include "recording/RecordingError.h"
#include "recording/SyntheticMedia.h"
#include "support/EventLoopWatch.h"
#include "support/TemporaryDirectory.h"
#include "support/Waiting.h"
#include "tasks/Await.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::cameraSample;
using test::FakeCamera;
using test::FakeDesktop;
using test::hostSeconds;
using test::screenSample;
using test::soundSample;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Output = ScreenStream::OutputType;

std::vector<double> pictureTimes(const URL& url) {
    std::vector<double> times;
    const MediaTrack track = MediaAsset(url).tracks(MediaType::video).at(0);
    for (const SampleIndexEntry& entry : *track.sampleIndex) {
        times.push_back(entry.presentationTime.seconds());
    }
    return times;
}

/// A recording of a display that the test plays, with a clock that the test sets.
class RecordingCoordinatorTest : public testing::Test {
protected:
    RecordingConfiguration configuration() const {
        RecordingConfiguration result;
        result.source = RecordingConfiguration::DisplaySource{FakeDesktop::display(128, 128)};
        return result;
    }
    void prepare(const RecordingConfiguration& wanted, std::shared_ptr<CameraFeed> reusableCamera = nullptr) {
        await(coordinator.prepareRecording(wanted, std::move(reusableCamera)));
    }
    void setClock(double seconds) { nowNanoseconds = std::llround(seconds * 1e9); }
    /// Waits until as many samples of a stream have been recorded.
    void expectRecorded(StreamKind kind, std::uint64_t count) {
        EXPECT_TRUE(
            test::waitUntil([&] { return coordinator.statistics()[kind].recordedFrames >= count; }, 10s));
        EXPECT_EQ(coordinator.statistics()[kind].recordedFrames, count);
    }
    template <typename Task>
    std::string errorOf(Task task, RecordingError::Code code) {
        try {
            await(std::move(task));
        } catch (const RecordingError& error) {
            EXPECT_EQ(error.code(), code);
            return error.what();
        }
        return "no error";
    }

    test::TemporaryDirectory directory;
    test::Inbox<std::string> log;
    LogObserver observer{LogCategory::recording, [this](const std::string& line) { log.put(line); }};
    std::atomic<std::int64_t> nowNanoseconds = 100'000'000'000;
    FakeDesktop desktop;
    std::shared_ptr<FakeCamera> camera = std::make_shared<FakeCamera>();
    CameraFactory makeCamera;
    RecordingCoordinator coordinator{desktop, directory.url(),
                                     [this](const std::optional<std::string>& id) {
                                         if (!makeCamera) throw Error("It is unplugged.");
                                         return makeCamera(id);
                                     },
                                     [this] { return hostTimeFromNanoseconds(nowNanoseconds); }};
};

TEST_F(RecordingCoordinatorTest, AllStreamsShareOneOrigin) {
    desktop.microphoneList = {{"mic", "Microphone"}};
    camera->onStart = [this] {
        for (const double t : {99.0, 99.1, 99.2, 99.3, 99.4}) camera->deliver(cameraSample(hostSeconds(t)));
    };
    desktop.onStart = [this] {
        desktop.deliver(Output::screen, screenSample(hostSeconds(99.5)));
        desktop.deliver(Output::screen, screenSample(hostSeconds(99.9)));
        desktop.deliver(Output::audio, soundSample(hostSeconds(99.9), 2));
        desktop.deliver(Output::microphone, soundSample(hostSeconds(99.9), 1));
    };
    RecordingConfiguration wanted = configuration();
    wanted.captureSystemAudio = true;
    wanted.captureMicrophone = true;
    wanted.captureCamera = true;
    wanted.preferredMicrophoneID = "mic";
    prepare(wanted, camera);
    EXPECT_EQ(desktop.usedConfiguration->microphoneCaptureDeviceID, "mic");
    await(coordinator.startRecording());
    expectRecorded(StreamKind::screenVideo, 1);
    expectRecorded(StreamKind::cameraVideo, 1);

    desktop.deliver(Output::screen, screenSample(hostSeconds(99.95)));
    desktop.deliver(Output::screen, screenSample(hostSeconds(100.5)));
    camera->deliver(cameraSample(hostSeconds(100.25)));
    for (int i = 0; i < 3; ++i) {
        desktop.deliver(Output::audio, soundSample(hostSeconds(100.1 + i * 0.02), 2));
        desktop.deliver(Output::microphone, soundSample(hostSeconds(100.3 + i * 0.02), 1));
    }
    expectRecorded(StreamKind::screenVideo, 2);
    expectRecorded(StreamKind::cameraVideo, 2);
    expectRecorded(StreamKind::systemAudio, 3);
    expectRecorded(StreamKind::microphoneAudio, 3);
    setClock(102);
    const RecordingSession session = await(coordinator.stopRecording());

    EXPECT_FALSE(DirectoryLock::tryExclusive(session.directoryURL))
        << "nobody may take it for a left one yet";
    EXPECT_EQ(session.directoryURL.parent(), directory.url().appending("Varnelle").appending("Sessions"));
    EXPECT_EQ(session.screenRecordingURL, session.directoryURL.appending("screen.mov"));
    EXPECT_EQ(session.cameraRecordingURL, session.directoryURL.appending("camera.mov"));
    EXPECT_EQ(session.cursorRecordingURL, session.directoryURL.appending("cursor.json"));
    EXPECT_THAT(session.availableAudioSources,
                ElementsAre(RecordedAudioSource::system, RecordedAudioSource::microphone));
    EXPECT_EQ(session.frameRate, 60);
    EXPECT_EQ(session.renderSize, (CGSize{128, 128}));
    EXPECT_THAT(pictureTimes(session.screenRecordingURL), ElementsAre(0.0, testing::DoubleNear(0.5, 0.001)));
    EXPECT_THAT(pictureTimes(*session.cameraRecordingURL),
                ElementsAre(0.0, testing::DoubleNear(0.25, 0.001)));
    const MediaAsset screen(session.screenRecordingURL);
    EXPECT_NEAR(screen.tracks(MediaType::video).at(0).duration.seconds(), 2, 0.02)
        << "it lasts until the stop";
    EXPECT_EQ(screen.tracks(MediaType::audio).size(), 2U);
    const CursorRecording cursor = readCursorRecording(*session.cursorRecordingURL);
    EXPECT_EQ(cursor.captureRegion, (CursorCaptureRegion{0, 0, 128, 128}));
    EXPECT_NEAR(cursor.lastEventTime(), 2, 1e-9);
    EXPECT_FALSE(camera->isRunning());
    EXPECT_FALSE(camera->hasCallback());
    EXPECT_FALSE(desktop.isStreamRunning());
    EXPECT_EQ(errorOf(coordinator.stopRecording(), RecordingError::Code::notRecording),
              "Nothing is being recorded.");
}

TEST_F(RecordingCoordinatorTest, BarrierGoesOnWithoutCamera) {
    desktop.onStart = [this] { desktop.deliver(Output::screen, screenSample(hostSeconds(99.9))); };
    makeCamera = [this](const std::optional<std::string>&) { return camera; };
    RecordingConfiguration wanted = configuration();
    wanted.captureCamera = true;
    prepare(wanted);
    const auto before = std::chrono::steady_clock::now();
    await(coordinator.startRecording());
    EXPECT_GE(std::chrono::steady_clock::now() - before, 3s);
    EXPECT_THAT(log.items(), Contains("Start barrier timed out for some streams: screen=true, camera=false. "
                                      "Proceeding anyway with screen video."));
    for (const double t : {100.1, 100.2, 100.3, 101.0}) camera->deliver(cameraSample(hostSeconds(t)));
    expectRecorded(StreamKind::cameraVideo, 1);
    setClock(102);
    const RecordingSession session = await(coordinator.stopRecording());
    EXPECT_THAT(pictureTimes(*session.cameraRecordingURL), ElementsAre(testing::DoubleNear(1.0, 0.001)))
        << "a late stream joins at its own time";
}

TEST_F(RecordingCoordinatorTest, BarrierFailsWithoutScreenAndCleansUp) {
    camera->onStart = [this] {
        for (int i = 0; i < 4; ++i) camera->deliver(cameraSample(hostSeconds(99 + i * 0.1)));
    };
    RecordingConfiguration wanted = configuration();
    wanted.captureCamera = true;
    prepare(wanted, camera);
    EXPECT_EQ(errorOf(coordinator.startRecording(), RecordingError::Code::startBarrierTimeout),
              "screen=false, camera=true");
    EXPECT_FALSE(desktop.isStreamRunning());
    EXPECT_FALSE(camera->isRunning());
    const URL sessions = directory.url().appending("Varnelle").appending("Sessions");
    for (const auto& entry : std::filesystem::recursive_directory_iterator(sessions.path())) {
        EXPECT_TRUE(entry.is_directory()) << "nothing is left of " << entry.path();
    }
}

TEST_F(RecordingCoordinatorTest, FailedStreamStartIsHandedOnAndCleansUp) {
    desktop.failsStart = true;
    desktop.failsStop = true;
    prepare(configuration());
    EXPECT_THROW(await(coordinator.startRecording()), PlatformError);
    EXPECT_THAT(log.items(), Contains("Failed start cleanup stopCapture error: The stream won't stop."));
}

TEST_F(RecordingCoordinatorTest, StopOvertakesAStartThatStillWaits) {
    prepare(configuration());
    std::string startError;
    const auto start = [&]() -> QCoro::Task<> {
        try {
            co_await coordinator.startRecording();
        } catch (const RecordingError& error) {
            startError = error.what();
        }
    };
    const std::string expected = "Recording stopped before synchronized media start was established.";
    const auto both = [&]() -> QCoro::Task<std::string> {
        auto starting = start();
        co_await QCoro::sleepFor(50ms);
        std::string stopError = "no error";
        try {
            co_await coordinator.stopRecording();
        } catch (const RecordingError& error) {
            stopError = error.what();
        }
        co_await starting;
        co_return stopError;
    };
    EXPECT_EQ(await(both()), expected);
    EXPECT_EQ(startError, expected);
    EXPECT_FALSE(desktop.isStreamRunning());
}

TEST_F(RecordingCoordinatorTest, StartAndStopNeedAPreparation) {
    errorOf(coordinator.startRecording(), RecordingError::Code::notRecording);
    errorOf(coordinator.stopRecording(), RecordingError::Code::notRecording);
    prepare(configuration());
    EXPECT_EQ(errorOf(coordinator.stopRecording(), RecordingError::Code::writerFailed),
              "Recording stopped before synchronized media start was established.");
}

TEST_F(RecordingCoordinatorTest, MissingDevicesAreNoReasonNotToRecord) {
    desktop.refusesContent = true;
    desktop.onStart = [this] { desktop.deliver(Output::screen, screenSample(hostSeconds(99.9))); };
    RecordingConfiguration wanted = configuration();
    wanted.captureMicrophone = true;
    wanted.captureCamera = true;
    prepare(wanted);
    EXPECT_THAT(log.items(), Contains("Camera unavailable, recording without webcam: It is unplugged."));
    EXPECT_FALSE(desktop.usedConfiguration->captureMicrophone);
    EXPECT_TRUE(std::get<DisplayFilter>(*desktop.usedFilter).excludedApplications.empty());
    await(coordinator.startRecording());
    EXPECT_THAT(log.items(), Not(Contains(HasSubstr("barrier timed out")))) << "it waits for neither";
    setClock(101);
    desktop.failsStop = true;
    const RecordingSession session = await(coordinator.stopRecording());
    EXPECT_THAT(log.items(), Contains("Capture engine stop threw error (ignoring): The stream won't stop."));
    EXPECT_TRUE(session.availableAudioSources.empty());
    EXPECT_EQ(session.cameraRecordingURL, std::nullopt);
    EXPECT_EQ(MediaAsset(session.screenRecordingURL).tracks().size(), 1U);
}

TEST_F(RecordingCoordinatorTest, TellsOnTheMainThreadWhenTheDiskIsNearlyFull) {
    desktop.onStart = [this] { desktop.deliver(Output::screen, screenSample(hostSeconds(99.9))); };
    std::atomic<std::uint64_t> written = 0;
    coordinator.storageReader = [&written](const URL&) {
        return StorageReading{500'000'000, written += 10'000'000};
    };
    int tellings = 0;
    coordinator.onNeedsStop = [&tellings] {
        EXPECT_EQ(QThread::currentThread(), QCoreApplication::instance()->thread());
        ++tellings;
    };
    prepare(configuration());
    await(coordinator.startRecording());
    const auto waitForTelling = [&tellings]() -> QCoro::Task<> {
        for (int i = 0; i < 400 && tellings == 0; ++i) co_await QCoro::sleepFor(50ms);
    };
    await(waitForTelling());
    EXPECT_EQ(tellings, 1);
    setClock(105);
    const RecordingSession session = await(coordinator.stopRecording());
    EXPECT_TRUE(session.screenRecordingURL.exists());
    EXPECT_EQ(tellings, 1);
}

TEST_F(RecordingCoordinatorTest, WindowIsTakenAsItIsAtTheStart) {
    ShareableWindow window;
    window.windowID = 7;
    window.title = "Notes";
    window.frame = {{10, 10}, {64, 64}};
    RecordingConfiguration wanted = configuration();
    wanted.source = RecordingConfiguration::WindowSource{window, desktop.displays.front()};
    window.frame = {{30, 20}, {100, 80}};
    desktop.windows = {window};
    prepare(wanted);
    EXPECT_EQ(desktop.usedConfiguration->sourceRect, (CGRect{{30, 20}, {100, 80}}));
    EXPECT_EQ(desktop.usedConfiguration->widthPixels, 100);

    desktop.windows.clear();
    RecordingCoordinator another(desktop, directory.file("another"));
    try {
        await(another.prepareRecording(wanted));
        ADD_FAILURE() << "no error";
    } catch (const PlatformError& error) {
        EXPECT_STREQ(error.what(), "The window “Notes” was closed.");
    }
    const URL sessions = directory.file("another").appending("Varnelle").appending("Sessions");
    EXPECT_TRUE(std::filesystem::is_empty(sessions.path())) << "nothing is left of it";
}

TEST_F(RecordingCoordinatorTest, ExcludesTheProgramItself) {
    desktop.applications = {{1, "", "init"}, {QCoreApplication::applicationPid(), "", "self"}};
    prepare(configuration());
    EXPECT_THAT(std::get<DisplayFilter>(*desktop.usedFilter).excludedApplications,
                ElementsAre(desktop.applications[1]));
}

TEST_F(RecordingCoordinatorTest, CursorFileThatCannotBeWrittenDoesNotFailTheRecording) {
    desktop.onStart = [this] { desktop.deliver(Output::screen, screenSample(hostSeconds(99.9))); };
    prepare(configuration());
    await(coordinator.startRecording());
    expectRecorded(StreamKind::screenVideo, 1);
    const URL sessions = directory.url().appending("Varnelle").appending("Sessions");
    const URL session(std::filesystem::directory_iterator(sessions.path())->path());
    std::filesystem::create_directory(session.appending("cursor.json").path());
    setClock(101);
    EXPECT_EQ(await(coordinator.stopRecording()).directoryURL, session);
    EXPECT_THAT(log.items(), Contains(HasSubstr("Cursor metadata save failed: ")));
}

TEST_F(RecordingCoordinatorTest, SlowDesktopDoesNotHoldUpTheMainThread) {
    desktop.delay = 300ms;
    desktop.microphoneList = {{"mic", "Microphone"}};
    desktop.onStart = [this] {
        desktop.deliver(Output::screen, screenSample(hostSeconds(99.9)));
        desktop.deliver(Output::microphone, soundSample(hostSeconds(99.9), 1));
    };
    ShareableWindow window;
    window.windowID = 7;
    window.frame = {{10, 10}, {64, 64}};
    desktop.windows = {window};
    RecordingConfiguration wanted = configuration();
    wanted.source = RecordingConfiguration::WindowSource{window, desktop.displays.front()};
    wanted.captureMicrophone = true;
    const test::EventLoopWatch watch;
    prepare(wanted);
    EXPECT_LT(watch.longestGap(), 150ms) << "while it was prepared";
    await(coordinator.startRecording());
    EXPECT_LT(watch.longestGap(), 150ms) << "at the start";
    setClock(101);
    EXPECT_TRUE(await(coordinator.stopRecording()).screenRecordingURL.exists());
    EXPECT_LT(watch.longestGap(), 150ms) << "at the stop";
    desktop.windows.clear();
    {
        RecordingCoordinator failing(desktop, directory.url());
        EXPECT_THROW(await(failing.prepareRecording(wanted)), PlatformError);
    }
    EXPECT_LT(watch.longestGap(), 150ms) << "when it fails";
}

TEST_F(RecordingCoordinatorTest, SessionsOfOneSecondHaveDirectoriesOfTheirOwn) {
    std::vector<std::unique_ptr<RecordingCoordinator>> coordinators;
    // At least two of three begin in the same second, or the machine takes longer than that for each.
    for (int i = 0; i < 3; ++i) {
        coordinators.push_back(std::make_unique<RecordingCoordinator>(desktop, directory.url()));
        await(coordinators.back()->prepareRecording(configuration()));
    }
    const URL sessions = directory.url().appending("Varnelle").appending("Sessions");
    const std::filesystem::directory_iterator entries(sessions.path());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 3);
}

TEST_F(RecordingCoordinatorTest, CanBeDroppedWhileItRecords) {
    desktop.onStart = [this] { desktop.deliver(Output::screen, screenSample(hostSeconds(99.9))); };
    {
        RecordingCoordinator dropped(desktop, directory.url());
        await(dropped.prepareRecording(configuration()));
        await(dropped.startRecording());
        desktop.deliver(Output::screen, screenSample(hostTimeNow()));
    }
    EXPECT_FALSE(desktop.isStreamRunning());
}

}  // namespace
}  // namespace varnelle
