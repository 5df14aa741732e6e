#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoro/QCoroTask>
#include <QCoro/QCoroTimer>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <numbers>
#include <optional>

#include "camera/CursorRecordingFile.h"
#include "foundation/AtomicFile.h"
#include "foundation/HostClock.h"
#include "foundation/Log.h"
#include "media/MediaAsset.h"
#include "platform/linux/LinuxDesktop.h"
#include "recording/CameraManager.h"
#include "recording/RecordingCoordinator.h"
#include "support/PatternWindow.h"
#include "support/PipeWireFeeders.h"
#include "support/PipeWireServer.h"
#include "support/SoundFixtures.h"
#include "support/SoundProbe.h"
#include "support/TemporaryDirectory.h"
#include "support/Waiting.h"
#include "support/XServer.h"
#include "tasks/Await.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::PatternWindow;
using test::PipeWireServer;
using test::SoundFeeder;
using test::VirtualCamera;
using test::XServer;

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr double kSoundRate = 48'000;

float sine(std::int64_t sample, double frequency) {
    return static_cast<float>(
        0.25 * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(sample) / kSoundRate));
}

/// The pictures of a movie as rows of luma, decoded by a program that knows nothing of this one.
struct DecodedMovie {
    DecodedMovie(const URL& movie, const URL& scratch, int widthPixels, int heightPixels)
        : width(widthPixels), height(heightPixels) {
        test::ChildProcess decoder({"ffmpeg", "-v", "error", "-xerror", "-i", movie.string(), "-vsync",
                                    "passthrough", "-pix_fmt", "gray", "-f", "rawvideo", scratch.string()});
        if (decoder.waitForEnd() == 0) pictures = readFile(scratch);
        const MediaTrack track = MediaAsset(movie).tracks(MediaType::video).at(0);
        for (const auto& entry : *track.sampleIndex) {
            times.push_back(entry.presentationTime.seconds());
        }
        std::sort(times.begin(), times.end());
    }
    [[nodiscard]] std::size_t count() const {
        return pictures.size() / (static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    }
    [[nodiscard]] int luma(std::size_t picture, double x, double y) const {
        const auto column = static_cast<std::size_t>(x * width);
        const auto row = static_cast<std::size_t>(y * height);
        return static_cast<std::uint8_t>(pictures.at(
            (picture * static_cast<std::size_t>(height) + row) * static_cast<std::size_t>(width) + column));
    }
    [[nodiscard]] int number(std::size_t picture) const {
        return test::numberFrom([&](double x, double y) { return luma(picture, x, y); });
    }

    int width;
    int height;
    std::string pictures;
    std::vector<double> times;
};

class SoundAndCameraRecordingTest : public testing::Test {
protected:
    void SetUp() override {
        if (!XServer::isAvailable()) GTEST_SKIP() << XServer::kMissing;
        if (!PipeWireServer::isAvailable()) GTEST_SKIP() << PipeWireServer::kMissing;
        display.emplace(kWidth, kHeight);
        server.emplace();
        desktop.emplace(display->displayName(), server->remoteName());
    }

    RecordingConfiguration configuration() {
        RecordingConfiguration result;
        result.source = RecordingConfiguration::DisplaySource{desktop->shareableContent({}).displays.front()};
        return result;
    }
    std::unique_ptr<SoundFeeder> microphone(const std::string& name, double frequency) {
        auto feeder = std::make_unique<SoundFeeder>(
            server->remoteName(), [=](std::int64_t sample, int) { return sine(sample, frequency); },
            SoundFeeder::Options{48'000, 1, name, name});
        EXPECT_TRUE(waitForDevice(desktop->captureDevices(), name));
        return feeder;
    }
    std::unique_ptr<VirtualCamera> camera(const std::string& name, std::vector<VirtualCamera::Offer> offers,
                                          bool isSilent = false) {
        auto result = std::make_unique<VirtualCamera>(server->remoteName(), name, "Webcam", std::move(offers),
                                                      isSilent);
        EXPECT_TRUE(waitForDevice(desktop->captureDevices(), name));
        return result;
    }
    static bool waitForDevice(CaptureDevices& devices, const std::string& name) {
        const auto isIn = [&](const std::vector<CaptureDevice>& list) {
            return std::any_of(list.begin(), list.end(),
                               [&](const CaptureDevice& device) { return device.uniqueID == name; });
        };
        return test::waitUntil([&] { return isIn(devices.microphones()) || isIn(devices.cameras()); },
                               test::kPatience);
    }
    /// Records until `during` has ended.
    RecordingSession record(RecordingConfiguration configuration, std::function<QCoro::Task<>()> during,
                            std::shared_ptr<CameraFeed> reusableCamera = nullptr) {
        RecordingCoordinator coordinator(*desktop, directory.url(), cameraManagerFactory(*desktop));
        const auto task = [&]() -> QCoro::Task<RecordingSession> {
            co_await coordinator.prepareRecording(configuration, reusableCamera);
            co_await coordinator.startRecording();
            liveSince = hostTimeNow();
            co_await during();
            stoppedAt = hostTimeNow();
            co_return co_await coordinator.stopRecording();
        };
        RecordingSession session = await(task());
        statistics = coordinator.statistics();
        return session;
    }

    test::TemporaryDirectory directory;
    std::optional<XServer> display;
    std::optional<PipeWireServer> server;
    std::optional<LinuxDesktop> desktop;
    CMTime liveSince;
    CMTime stoppedAt;
    RecordingStatistics statistics;
};

QCoro::Task<> pause(std::chrono::milliseconds time) {
    co_await QCoro::sleepFor(time);
}

TEST_F(SoundAndCameraRecordingTest, EveryStreamLandsInItsTrackWithItsContents) {
    const SoundFeeder player(server->remoteName(), [](std::int64_t sample, int channel) {
        return sine(sample, channel == 0 ? 1000 : 600);
    });
    const auto voice = microphone("mic", 440);
    const auto webcam = camera("camera", {{VirtualCamera::Layout::yuy2, 640, 480, 30}});
    RecordingConfiguration wanted = configuration();
    wanted.captureSystemAudio = true;
    wanted.captureMicrophone = true;
    wanted.preferredMicrophoneID = "mic";
    wanted.captureCamera = true;
    const RecordingSession session = record(wanted, [] { return pause(3s); });
    EXPECT_EQ(session.availableAudioSources,
              (std::vector{RecordedAudioSource::system, RecordedAudioSource::microphone}));
    const double length = (stoppedAt - liveSince).seconds();

    // What is captured just before the stop is still on its way: a cycle of the server and one of the
    // encoder.
    const auto check = [&](int track, double frequency) {
        const std::vector<float> sound = test::decodeSound(session.screenRecordingURL, track);
        const double seconds = static_cast<double>(sound.size()) / kSoundRate;
        EXPECT_LT(seconds, length + 0.05);
        EXPECT_GT(seconds, length - 0.15);
        const auto loud = std::find_if(sound.begin(), sound.end(), [](float x) { return std::abs(x) > 0.1; });
        EXPECT_LT(loud - sound.begin(), 4800) << "the track begins with the recording";
        const test::ToneFit fit = test::usualTone(sound, 12'000, 132'000, frequency);
        EXPECT_NEAR(fit.amplitude, 0.25, 0.01) << frequency;
        EXPECT_LT(fit.residueDecibels, -35) << frequency;
        EXPECT_GT(test::quietestLoudness(sound, 12'000, 132'000), 0.05) << frequency;
    };
    check(0, 1000);
    check(1, 440);
    EXPECT_EQ(statistics[StreamKind::systemAudio].droppedFrames, 0U);
    EXPECT_EQ(statistics[StreamKind::microphoneAudio].droppedFrames, 0U);

    if (const char* copy = std::getenv("VARNELLE_TEST_KEEP"))
        std::filesystem::copy(session.directoryURL.path(), copy);
    const DecodedMovie movie(*session.cameraRecordingURL, directory.file("camera.gray"), 640, 480);
    ASSERT_EQ(movie.count(), movie.times.size());
    ASSERT_GT(movie.count(), 20U);
    EXPECT_EQ(movie.times.front(), 0.0);
    const int first = movie.number(0);
    EXPECT_GE(first, 3) << "the first three are thrown away";
    for (std::size_t i = 1; i < movie.count(); ++i) {
        const int number = movie.number(i);
        ASSERT_GT(number, movie.number(i - 1));
        if (i < 2) continue;
        // Pictures keep the distances at which the camera took them.
        const double distance =
            static_cast<double>(webcam->timeOf(number) - webcam->timeOf(movie.number(1))) / 1e9;
        EXPECT_NEAR(movie.times[i] - movie.times[1], distance, 0.0005);
    }
    EXPECT_NEAR(movie.luma(10, 0.5, 0.75), 126, 8);
}

TEST_F(SoundAndCameraRecordingTest, PreviewIsHandedOnRunningAndKeepsItsPictures) {
    const auto webcam = camera("camera", {{VirtualCamera::Layout::mjpeg, 640, 360, 30}});
    auto manager = std::make_shared<CameraManager>(*desktop);
    manager->setup("camera");
    test::Inbox<int> previewed;
    manager->setOnPreviewFrame([&](const SampleBuffer&) { previewed.put(0); });
    manager->start();
    ASSERT_TRUE(previewed.waitForCount(5, test::kPatience));
    RecordingConfiguration wanted = configuration();
    wanted.captureCamera = true;
    std::size_t shownWhileRecording = 0;
    int countWhenLive = 0;
    const RecordingSession session = record(
        wanted,
        [&]() -> QCoro::Task<> {
            countWhenLive = webcam->pictureCount();
            previewed.clear();
            co_await QCoro::sleepFor(1s);
            shownWhileRecording = previewed.count();
        },
        manager);
    EXPECT_GT(shownWhileRecording, 20U);
    EXPECT_FALSE(manager->isRunning()) << "the end of the recording is the end of the camera";
    const DecodedMovie movie(*session.cameraRecordingURL, directory.file("camera.gray"), 640, 360);
    EXPECT_GT(movie.count(), 20U);
    // The newest one from before, so it didn't have to start again.
    EXPECT_LT(movie.number(0), countWhenLive);
    EXPECT_GE(movie.number(0), countWhenLive - 6);
}

TEST_F(SoundAndCameraRecordingTest, LostDevicesLeaveSilenceAndTheRestInPlace) {
    const SoundFeeder player(server->remoteName(),
                             [](std::int64_t sample, int) { return sine(sample, 1000); });
    auto voice = microphone("mic", 440);
    auto webcam = camera("camera", {{}});
    RecordingConfiguration wanted = configuration();
    wanted.captureSystemAudio = true;
    wanted.captureMicrophone = true;
    wanted.preferredMicrophoneID = "mic";
    wanted.captureCamera = true;
    CMTime lostAt;
    CMTime backAt;
    const RecordingSession session = record(wanted, [&]() -> QCoro::Task<> {
        co_await QCoro::sleepFor(1s);
        lostAt = hostTimeNow();
        voice = nullptr;
        webcam = nullptr;
        co_await QCoro::sleepFor(1s);
        backAt = hostTimeNow();
        voice = microphone("mic", 440);
        co_await QCoro::sleepFor(1500ms);
    });
    const double length = (stoppedAt - liveSince).seconds();
    const std::vector<float> sound = test::decodeSound(session.screenRecordingURL, 1);
    EXPECT_NEAR(static_cast<double>(sound.size()) / kSoundRate, length, 0.15);
    const auto loudness = [&](double begin, double end) {
        double sum = 0;
        for (auto i = static_cast<std::size_t>(begin * kSoundRate);
             i < static_cast<std::size_t>(end * kSoundRate); ++i) {
            sum += static_cast<double>(sound.at(i)) * sound.at(i);
        }
        return std::sqrt(sum / ((end - begin) * kSoundRate));
    };
    const auto tone = [&](double begin, double end) {
        return test::usualTone(sound, static_cast<std::size_t>(begin * kSoundRate),
                               static_cast<std::size_t>(end * kSoundRate), 440);
    };
    const double lost = (lostAt - liveSince).seconds();
    const double back = (backAt - liveSince).seconds();
    EXPECT_NEAR(tone(0.2, lost - 0.1).amplitude, 0.25, 0.01);
    EXPECT_LT(loudness(lost + 0.2, back - 0.05), 0.001);
    EXPECT_NEAR(tone(back + 0.8, length - 0.2).amplitude, 0.25, 0.01);
    const auto system = test::decodeSound(session.screenRecordingURL, 0);
    EXPECT_NEAR(test::usualTone(system, 12'000, 144'000, 1000).amplitude, 0.25, 0.01) << "untouched by it";
    EXPECT_GT(test::quietestLoudness(system, 12'000, 144'000), 0.05);
    EXPECT_GT(DecodedMovie(*session.cameraRecordingURL, directory.file("camera.gray"), 640, 480).count(),
              10U);
}

TEST_F(SoundAndCameraRecordingTest, WithoutServerOrWithASilentCameraTheScreenIsRecorded) {
    test::Inbox<std::string> log;
    const LogObserver recording(LogCategory::recording, [&](const std::string& line) { log.put(line); });
    const LogObserver capture(LogCategory::capture, [&](const std::string& line) { log.put(line); });
    const auto webcam = camera("camera", {{}}, true);
    RecordingConfiguration wanted = configuration();
    wanted.captureSystemAudio = true;
    wanted.captureMicrophone = true;
    wanted.captureCamera = true;
    const RecordingSession silent = record(wanted, [] { return pause(300ms); });
    EXPECT_THAT(log.items(),
                testing::Contains("Start barrier timed out for some streams: screen=true, camera=false, "
                                  "systemAudio=true. Proceeding anyway with screen video."));
    EXPECT_EQ(silent.availableAudioSources, std::vector{RecordedAudioSource::system});
    EXPECT_EQ(silent.cameraRecordingURL, std::nullopt) << "there is nothing in it";
    EXPECT_FALSE(MediaAsset(silent.screenRecordingURL).tracks(MediaType::video).at(0).sampleIndex->empty());

    server->kill();
    ASSERT_TRUE(
        test::waitUntil([&] { return desktop->captureDevices().cameras().empty(); }, test::kPatience));
    log.clear();
    const RecordingSession deaf = record(wanted, [] { return pause(300ms); });
    EXPECT_THAT(log.items(),
                testing::Contains("Camera unavailable, recording without webcam: The camera isn't "
                                  "connected."));
    EXPECT_THAT(log.items(), testing::Contains(testing::HasSubstr("System sound is missing")).Times(1));
    EXPECT_FALSE(MediaAsset(deaf.screenRecordingURL).tracks(MediaType::video).at(0).sampleIndex->empty());
}

TEST_F(SoundAndCameraRecordingTest, ServerThatStartsAgainIsHeardAgain) {
    const auto play = [&] {
        return std::make_unique<SoundFeeder>(server->remoteName(),
                                             [](std::int64_t sample, int) { return sine(sample, 1000); });
    };
    auto player = play();
    RecordingConfiguration wanted = configuration();
    wanted.captureSystemAudio = true;
    CMTime backAt;
    const RecordingSession session = record(wanted, [&]() -> QCoro::Task<> {
        co_await QCoro::sleepFor(500ms);
        server->kill();
        player = nullptr;
        co_await QCoro::sleepFor(500ms);
        server->start();
        player = play();
        backAt = hostTimeNow();
        co_await QCoro::sleepFor(2500ms);
    });
    const auto sound = test::decodeSound(session.screenRecordingURL, 0);
    EXPECT_NEAR(static_cast<double>(sound.size()) / kSoundRate, (stoppedAt - liveSince).seconds(), 0.15);
    const auto settled = static_cast<std::size_t>(((backAt - liveSince).seconds() + 1.5) * kSoundRate);
    EXPECT_NEAR(test::usualTone(sound, settled, settled + 24'000, 1000).amplitude, 0.25, 0.01);
    EXPECT_GT(test::quietestLoudness(sound, settled, settled + 24'000), 0.05);
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Set to a number, the recording below goes on for so many minutes and ends with moments as it began; that
/// is for a run by hand.
constexpr const char* kMinutesVariable = "VARNELLE_SYNCHRONISATION_MINUTES";

TEST_F(SoundAndCameraRecordingTest, PictureSoundAndClickOfOneMomentMeetInTheFiles) {
    // Each time: the window flashes, a sound is played and the button is pressed, at times that are known.
    // What they have become in the files has to be off by the same for all three.
    constexpr std::size_t kTimes = 7;
    const char* const minutes = std::getenv(kMinutesVariable);
    const std::chrono::minutes length{minutes != nullptr ? std::atoi(minutes) : 0};
    constexpr std::int64_t kClickSamples = 480;
    std::atomic<std::int64_t> clickAt = -1;
    const SoundFeeder player(server->remoteName(), [&](std::int64_t sample, int) {
        const std::int64_t since = sample - clickAt;
        return clickAt >= 0 && since >= 0 && since < kClickSamples ? sine(since, 4000) * 3 : 0.0F;
    });
    PatternWindow window(display->displayName(), 0, 0, kWidth, kHeight);
    test::PointerRobot robot(display->displayName());
    window.fill(0, 0, kWidth, kHeight, 0);
    robot.moveTo(20, 20);
    RecordingConfiguration wanted = configuration();
    wanted.captureSystemAudio = true;
    std::vector<double> flashes, presses, clicks;
    const auto makeMoments = [&]() -> QCoro::Task<> {
        for (std::size_t i = 0; i < kTimes; ++i) {
            co_await QCoro::sleepFor(200ms);
            // Some cycles ahead, as the player may have gone on before it knows.
            const std::int64_t sample = player.position() + 3 * PipeWireServer::kCycleFrames;
            clickAt = sample;
            window.fill(0, 0, kWidth, kHeight, 0xffffff);
            flashes.push_back(hostTimeNow().seconds());
            robot.setButton(1, true);
            presses.push_back(hostTimeNow().seconds());
            co_await QCoro::sleepFor(150ms);
            window.fill(0, 0, kWidth, kHeight, 0);
            robot.setButton(1, false);
            // It is played in the cycle after the one that asked for it.
            clicks.push_back(static_cast<double>(player.timeOf(sample).value_or(0)) / 1e9 +
                             PipeWireServer::kCycleFrames / kSoundRate);
        }
        co_await QCoro::sleepFor(200ms);
    };
    const RecordingSession session = record(wanted, [&]() -> QCoro::Task<> {
        QCoro::Task<> first = makeMoments();
        co_await std::move(first);
        if (length.count() == 0) co_return;
        co_await QCoro::sleepFor(length);
        QCoro::Task<> last = makeMoments();
        co_await std::move(last);
    });

    std::vector<double> flashOffsets, pressOffsets, clickOffsets;
    const DecodedMovie movie(session.screenRecordingURL, directory.file("screen.gray"), kWidth, kHeight);
    ASSERT_EQ(movie.count(), movie.times.size());
    for (std::size_t i = 1; i < movie.count(); ++i) {
        if (movie.luma(i, 0.5, 0.5) > 128 && movie.luma(i - 1, 0.5, 0.5) < 128) {
            flashOffsets.push_back(movie.times[i]);
        }
    }
    for (const CursorActivitySample& activity :
         readCursorRecording(*session.cursorRecordingURL).activitySamples) {
        if (activity.kind == CursorActivityKind::leftMouseDown) pressOffsets.push_back(activity.timeSeconds);
    }
    const std::vector<float> sound = test::decodeSound(session.screenRecordingURL, 0);
    for (std::size_t i = 0; i < sound.size(); ++i) {
        if (std::abs(sound[i]) < 0.2F) continue;
        clickOffsets.push_back(static_cast<double>(i) / kSoundRate);
        i += 4 * kClickSamples;
    }
    ASSERT_EQ(flashOffsets.size(), flashes.size());
    ASSERT_EQ(pressOffsets.size(), presses.size());
    ASSERT_EQ(clickOffsets.size(), clicks.size());
    for (std::size_t i = 0; i < flashes.size(); ++i) {
        flashOffsets[i] -= flashes[i] - liveSince.seconds();
        pressOffsets[i] -= presses[i] - liveSince.seconds();
        clickOffsets[i] -= clicks[i] - liveSince.seconds();
    }
    // A single one may be late on a busy machine.
    const auto medianFrom = [](const std::vector<double>& values, std::size_t first) {
        const auto begin = values.begin() + static_cast<std::ptrdiff_t>(first);
        return median({begin, begin + static_cast<std::ptrdiff_t>(kTimes)});
    };
    for (std::size_t first = 0; first < flashes.size(); first += kTimes) {
        const double flash = medianFrom(flashOffsets, first), press = medianFrom(pressOffsets, first),
                     click = medianFrom(clickOffsets, first);
        std::printf("after %.1f s: picture %+.1f ms, click %+.1f ms, sound %+.1f ms\n",
                    flashes[first] - liveSince.seconds(), flash * 1e3, press * 1e3, click * 1e3);
        EXPECT_NEAR(click, flash, 0.017);
        EXPECT_NEAR(press, flash, 0.017);
    }
}

}  // namespace
}  // namespace varnelle
