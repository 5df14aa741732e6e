#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <future>
#include <memory>
#include <numbers>
#include <optional>
#include <thread>
#include <utility>

#include "foundation/HostClock.h"
#include "foundation/Log.h"
#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/PipeWireHub.h"
#include "platform/linux/PipeWireSoundStream.h"
#include "support/PipeWireFeeders.h"
#include "support/PipeWireServer.h"
#include "support/SoundFixtures.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::PipeWireServer;
using test::SoundFeeder;
using test::VirtualCamera;
using test::waitUntil;

float sine(std::int64_t sample, double frequency, double rate, double amplitude = 0.25) {
    return static_cast<float>(
        amplitude * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(sample) / rate));
}

class PipeWireTest : public testing::Test {
protected:
    void SetUp() override {
        if (!PipeWireServer::isAvailable()) GTEST_SKIP() << PipeWireServer::kMissing;
        server.emplace();
    }
    [[nodiscard]] const std::string& remote() const { return server->remoteName(); }

    std::optional<PipeWireServer> server;
};

TEST(PipeWireAbsence, MeansNoDevicesAndNoWaiting) {
    LinuxDesktop desktop({}, "/nonexistent/pipewire-0");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(desktop.captureDevices().microphones().empty());
    EXPECT_TRUE(desktop.captureDevices().cameras().empty());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
}

TEST_F(PipeWireTest, ListsOfDevicesFollowWhatIsConnected) {
    const auto microphone = [this](const char* name, const char* description) {
        return std::make_unique<SoundFeeder>(
            remote(), [](std::int64_t, int) { return 0.0F; },
            SoundFeeder::Options{48'000, 1, name, description});
    };
    auto first = microphone("mic.one", "Desk Microphone");
    LinuxDesktop desktop({}, remote());
    CaptureDevices& devices = desktop.captureDevices();
    test::Inbox<int> changes;
    auto observation = devices.observeChanges([&] { changes.put(0); });
    const CaptureDevice one{"mic.one", "Desk Microphone"};
    const CaptureDevice two{"mic.two", "Headset"};
    const CaptureDevice camera{"camera.one", "Webcam"};
    EXPECT_TRUE(waitUntil([&] { return devices.microphones() == std::vector{one}; }, test::kPatience));
    EXPECT_TRUE(devices.cameras().empty());

    auto second = microphone("mic.two", "Headset");
    EXPECT_TRUE(waitUntil([&] { return devices.microphones() == (std::vector{one, two}); }, test::kPatience));
    {
        const VirtualCamera webcam(remote(), "camera.one", "Webcam", {{}});
        EXPECT_TRUE(waitUntil([&] { return devices.cameras() == std::vector{camera}; }, test::kPatience));
    }
    EXPECT_TRUE(waitUntil([&] { return devices.cameras().empty(); }, test::kPatience));
    first = nullptr;
    EXPECT_TRUE(waitUntil([&] { return devices.microphones() == std::vector{two}; }, test::kPatience));
    EXPECT_TRUE(changes.waitForCount(4, test::kPatience));

    observation = nullptr;
    const std::size_t count = changes.count();
    second = nullptr;
    EXPECT_TRUE(waitUntil([&] { return devices.microphones().empty(); }, test::kPatience));
    EXPECT_EQ(changes.count(), count);

    server->kill();
    server->start();
    second = microphone("mic.two", "Headset");
    EXPECT_TRUE(waitUntil([&] { return devices.microphones() == std::vector{two}; }, 10s))
        << "a server that comes back is found";
}

/// Collects one stream's sound.
class Listener {
public:
    Listener(std::shared_ptr<PipeWireHub> hub, PipeWireSoundStream::Source source,
             std::optional<std::string> deviceID = {})
        : stream_(std::move(hub), source, std::move(deviceID), queue_,
                  [this](const SampleBuffer& sample) { samples_.put(sample); }) {
        stream_.start();
    }
    bool waitForSeconds(double seconds) {
        return samples_.waitFor(
            [&](const std::vector<SampleBuffer>& samples) {
                return !samples.empty() && frameCount(samples) > seconds * DriftCorrector::kRate;
            },
            10s);
    }
    [[nodiscard]] std::vector<SampleBuffer> samples() const { return samples_.items(); }
    void clear() { samples_.clear(); }

    static double frameCount(const std::vector<SampleBuffer>& samples) {
        double count = 0;
        for (const SampleBuffer& sample : samples) count += static_cast<double>(sample.pcm()->frameCount());
        return count;
    }

private:
    test::Inbox<SampleBuffer> samples_;
    SerialQueue queue_{"test.sound"};
    PipeWireSoundStream stream_;
};

/// One channel by host time: sample n was heard at `begin + n` of the 48,000ths of a second.
struct HeardSound {
    std::int64_t begin = 0;
    std::vector<float> samples;

    HeardSound(const std::vector<SampleBuffer>& blocks, int channel) {
        begin = blocks.front().presentationTime.value;
        for (const SampleBuffer& block : blocks) {
            const PCMBlock& pcm = *block.pcm();
            EXPECT_EQ(block.presentationTime.timescale, DriftCorrector::kRate);
            const auto place = static_cast<std::size_t>(block.presentationTime.value - begin);
            EXPECT_GE(place, samples.size());
            samples.resize(place + pcm.frameCount(), 0.0F);
            for (std::size_t i = 0; i < pcm.frameCount(); ++i) {
                samples[place + i] = (*pcm.samples)[i * static_cast<std::size_t>(pcm.channelCount) +
                                                    static_cast<std::size_t>(channel)];
            }
        }
    }
};

TEST_F(PipeWireTest, SystemSoundIsWhatIsPlayedAtTheTimeItIsPlayed) {
    // A tone on the left, and on the right a click in each second.
    const SoundFeeder player(remote(), [](std::int64_t sample, int channel) {
        if (channel == 0) return sine(sample, 1000, 48'000);
        return sample % 48'000 == 24'000 ? 0.9F : 0.0F;
    });
    const auto hub = std::make_shared<PipeWireHub>(remote());
    Listener listener(hub, PipeWireSoundStream::Source::systemSound);
    ASSERT_TRUE(listener.waitForSeconds(2.2));
    const auto blocks = listener.samples();
    EXPECT_EQ(blocks.front().pcm()->sampleRate, 48'000);
    EXPECT_EQ(blocks.front().pcm()->channelCount, 2);
    const HeardSound left(blocks, 0);
    const HeardSound right(blocks, 1);
    const auto skipped = left.samples.begin() + 24'000;
    EXPECT_NEAR(*std::max_element(skipped, left.samples.end()), 0.25, 0.005);
    std::vector<double> offsets;
    for (std::int64_t click = 24'000; player.timeOf(click); click += 48'000) {
        const double wanted = static_cast<double>(*player.timeOf(click)) / 1e9;
        for (std::size_t i = 0; i < right.samples.size(); ++i) {
            if (right.samples[i] < 0.4F) continue;
            const double heard = static_cast<double>(right.begin + static_cast<std::int64_t>(i)) / 48'000;
            if (std::abs(heard - wanted) < 0.1) offsets.push_back(heard - wanted);
        }
    }
    ASSERT_FALSE(offsets.empty());
    // What a program hands out is played in the cycle after the one that asked for it.
    for (const double offset : offsets) EXPECT_NEAR(offset, PipeWireServer::kCycleFrames / 48'000.0, 0.001);
}

TEST_F(PipeWireTest, SystemSoundFollowsThePreferredOutput) {
    const SoundFeeder player(remote(), [](std::int64_t sample, int) { return sine(sample, 1000, 48'000); });
    const auto hub = std::make_shared<PipeWireHub>(remote());
    Listener listener(hub, PipeWireSoundStream::Source::systemSound);
    const auto isHeard = [&] {
        listener.clear();
        if (!listener.waitForSeconds(0.2)) return false;
        const HeardSound sound(listener.samples(), 0);
        return *std::max_element(sound.samples.begin(), sound.samples.end()) > 0.2;
    };
    EXPECT_TRUE(waitUntil(isHeard, 10s));
    auto headphones = std::make_unique<test::ExtraSink>(remote(), "headphones");
    server->preferSink("headphones");
    EXPECT_TRUE(waitUntil(isHeard, 10s)) << "what plays has moved there, and so must the ear";
    // The output in use is pulled out.
    headphones = nullptr;
    EXPECT_TRUE(waitUntil(isHeard, 10s));
}

TEST_F(PipeWireTest, MicrophonesOfAnyRateAndChannelCountAreHeard) {
    struct Case {
        const char* name;
        int rate;
        int channels;
        bool isUnpositioned = false;
    };
    const auto hub = std::make_shared<PipeWireHub>(remote());
    for (const Case& each :
         {Case{"mic.48k", 48'000, 1}, Case{"mic.16k", 16'000, 1}, Case{"mic.44k", 44'100, 2},
          Case{"mic.array", 48'000, 8}, Case{"mic.studio", 96'000, 8, true}}) {
        SCOPED_TRACE(each.name);
        const SoundFeeder microphone(
            remote(), [&each](std::int64_t sample, int) { return sine(sample, 440, each.rate); },
            SoundFeeder::Options{each.rate, each.channels, each.name, "Microphone", each.isUnpositioned});
        Listener listener(hub, PipeWireSoundStream::Source::microphone, each.name);
        ASSERT_TRUE(listener.waitForSeconds(1.5));
        const auto blocks = listener.samples();
        EXPECT_EQ(blocks.front().pcm()->channelCount, 1);
        const HeardSound sound(blocks, 0);
        const test::ToneFit fit = test::usualTone(sound.samples, 30'000, 60'000, 440);
        EXPECT_NEAR(fit.amplitude, 0.25, 0.005) << "channels are mixed without a change of level";
        EXPECT_LT(fit.residueDecibels, -70);
        EXPECT_GT(test::quietestLoudness(sound.samples, 30'000, 60'000), 0.05);
    }
}

TEST_F(PipeWireTest, UnpluggedMicrophoneIsNotReplacedByWhatIsPlayed) {
    const SoundFeeder player(remote(), [](std::int64_t sample, int) { return sine(sample, 1000, 48'000); });
    const auto microphone = [this] {
        return std::make_unique<SoundFeeder>(
            remote(), [](std::int64_t, int) { return 0.01F; },
            SoundFeeder::Options{48'000, 1, "mic", "Microphone"});
    };
    auto only = microphone();
    const auto hub = std::make_shared<PipeWireHub>(remote());
    ASSERT_TRUE(waitUntil([&] { return hub->nodes().size() == 2; }, test::kPatience));
    Listener listener(hub, PipeWireSoundStream::Source::microphone);
    ASSERT_TRUE(listener.waitForSeconds(0.3));
    only = nullptr;
    ASSERT_TRUE(waitUntil([&] { return hub->nodes().size() == 1; }, test::kPatience));
    std::this_thread::sleep_for(1500ms);
    only = microphone();
    const double before = Listener::frameCount(listener.samples());
    ASSERT_TRUE(listener.waitForSeconds(before / 48'000 + 0.3));
    const HeardSound sound(listener.samples(), 0);
    EXPECT_LT(*std::max_element(sound.samples.begin(), sound.samples.end()), 0.1);
}

/// A running session's frames and drops.
class Viewer {
public:
    Viewer(LinuxDesktop& desktop, const std::string& cameraID)
        : session_(desktop.makeCameraSession(
              cameraID,
              {&queue_, [this](const SampleBuffer& frame) { frames.put(frame); }, [this] { ++drops; }})) {}

    [[nodiscard]] CameraSession& session() { return *session_; }
    bool waitForFrames(std::size_t count) { return frames.waitForCount(count, 10s); }

    test::Inbox<SampleBuffer> frames;
    std::atomic<int> drops = 0;
    SerialQueue queue_{"test.camera"};

private:
    std::unique_ptr<CameraSession> session_;
};

int numberOf(const VideoFrame& frame) {
    return test::numberFrom([&](double x, double y) {
        const auto column = static_cast<std::ptrdiff_t>(x * frame.width());
        const auto row = static_cast<std::ptrdiff_t>(y * frame.height());
        const Plane& plane = frame.plane(0);
        return static_cast<int>(
            plane.data[row * plane.bytesPerRow + column * (frame.format() == PixelFormat::bgra ? 4 : 1)]);
    });
}

TEST_F(PipeWireTest, CamerasOfEveryFormatAndSizeDeliverTheirPictures) {
    using Layout = VirtualCamera::Layout;
    LinuxDesktop desktop({}, remote());
    int cameraCount = 0;
    for (const VirtualCamera::Offer& offer :
         {VirtualCamera::Offer{Layout::yuy2, 640, 480, 30}, VirtualCamera::Offer{Layout::nv12, 1280, 720, 60},
          VirtualCamera::Offer{Layout::i420, 321, 241, 30}, VirtualCamera::Offer{Layout::bgrx, 97, 65, 30},
          VirtualCamera::Offer{Layout::mjpeg, 640, 360, 30},
          VirtualCamera::Offer{Layout::yuy2, 3840, 2160, 5}, VirtualCamera::Offer{Layout::yuy2, 37, 3, 30}}) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(offer.layout) << " " << offer.widthPixels);
        const std::string name = "camera" + std::to_string(++cameraCount);
        const VirtualCamera camera(remote(), name, "Webcam", {offer});
        const auto isListed = [&] {
            const auto cameras = desktop.captureDevices().cameras();
            return std::find(cameras.begin(), cameras.end(), CaptureDevice{name, "Webcam"}) != cameras.end();
        };
        ASSERT_TRUE(waitUntil(isListed, test::kPatience));
        Viewer viewer(desktop, name);
        EXPECT_EQ(viewer.session().activeFormatDimensions(),
                  (CameraDimensions{offer.widthPixels, offer.heightPixels}));
        EXPECT_EQ(camera.pictureCount(), 0) << "it doesn't run before the start";
        viewer.session().startRunning();
        ASSERT_TRUE(viewer.waitForFrames(4));
        viewer.session().stopRunning();
        int last = -1;
        for (const SampleBuffer& sample : viewer.frames.items()) {
            const VideoFrame& frame = *sample.image();
            EXPECT_EQ(frame.width(), offer.widthPixels);
            EXPECT_EQ(frame.height(), offer.heightPixels);
            const int number = numberOf(frame);
            EXPECT_GT(number, last);
            last = number;
            ASSERT_LT(number, camera.pictureCount());
            EXPECT_EQ(sample.presentationTime.value, camera.timeOf(number));
        }
        ASSERT_TRUE(waitUntil(
            [&, before = -1]() mutable {
                std::this_thread::sleep_for(250ms);
                return before == std::exchange(before, camera.pictureCount());
            },
            10s))
            << "a camera that nobody looks at stops";
    }
}

TEST_F(PipeWireTest, CameraRunsAtItsBestFormatAndDropsWhatIsLate) {
    using Layout = VirtualCamera::Layout;
    const VirtualCamera camera(remote(), "camera", "Webcam",
                               {{Layout::yuy2, 320, 240, 60},
                                {Layout::yuy2, 1280, 720, 30},
                                {Layout::yuy2, 1920, 1080, 5},
                                {Layout::yuy2, 3840, 2160, 30}});
    LinuxDesktop desktop({}, remote());
    ASSERT_TRUE(waitUntil([&] { return !desktop.captureDevices().cameras().empty(); }, test::kPatience));
    Viewer viewer(desktop, "camera");
    EXPECT_EQ(viewer.session().activeFormatDimensions(), (CameraDimensions{1280, 720}));
    viewer.session().startRunning();
    ASSERT_TRUE(viewer.waitForFrames(2));
    EXPECT_EQ(camera.agreed(), (VirtualCamera::Offer{Layout::yuy2, 1280, 720, 30}));
    std::promise<void> begun;
    std::promise<void> release;
    viewer.queue_.async([&begun, released = release.get_future().share()] {
        begun.set_value();
        released.wait();
    });
    begun.get_future().wait();
    const std::size_t before = viewer.frames.count();
    const int shownBefore = camera.pictureCount();
    ASSERT_TRUE(waitUntil([&] { return camera.pictureCount() > shownBefore + 10; }, 10s));
    release.set_value();
    ASSERT_TRUE(viewer.waitForFrames(before + 3));
    EXPECT_GE(viewer.drops, 8);
    const auto frames = viewer.frames.items();
    EXPECT_GE(numberOf(*frames.at(before + 1).image()), shownBefore + 8)
        << "the newest comes, not the oldest";
}

TEST_F(PipeWireTest, DevicesAndServersThatGoAreToldOnceAndComeBack) {
    test::Inbox<std::string> log;
    const LogObserver observer(LogCategory::capture, [&](const std::string& line) { log.put(line); });
    const auto lines = [&](const std::string& part) {
        std::size_t count = 0;
        for (const std::string& line : log.items()) count += line.find(part) != std::string::npos ? 1 : 0;
        return count;
    };
    const auto newMicrophone = [&] {
        return std::make_unique<SoundFeeder>(
            remote(), [](std::int64_t sample, int) { return sine(sample, 440, 48'000); },
            SoundFeeder::Options{48'000, 1, "mic", "Microphone"});
    };
    const auto newCamera = [&] {
        return std::make_unique<VirtualCamera>(remote(), "camera", "Webcam",
                                               std::vector<VirtualCamera::Offer>{{}});
    };
    auto microphone = newMicrophone();
    // The one that may not take the place of the one that was chosen.
    const SoundFeeder other(
        remote(), [](std::int64_t sample, int) { return sine(sample, 440, 48'000); },
        SoundFeeder::Options{48'000, 1, "other", "Other microphone"});
    auto camera = newCamera();
    LinuxDesktop desktop({}, remote());
    ASSERT_TRUE(
        waitUntil([&] { return desktop.captureDevices().microphones().size() == 2; }, test::kPatience));
    ASSERT_TRUE(waitUntil([&] { return !desktop.captureDevices().cameras().empty(); }, test::kPatience));
    const auto hub = std::make_shared<PipeWireHub>(remote());
    Listener sound(hub, PipeWireSoundStream::Source::microphone, "mic");
    Listener system(hub, PipeWireSoundStream::Source::systemSound);
    Viewer viewer(desktop, "camera");
    viewer.session().startRunning();
    ASSERT_TRUE(sound.waitForSeconds(0.2));
    ASSERT_TRUE(system.waitForSeconds(0.2));
    ASSERT_TRUE(viewer.waitForFrames(3));
    log.clear();

    microphone = nullptr;
    camera = nullptr;
    EXPECT_TRUE(waitUntil([&] { return lines("is missing") == 2; }, test::kPatience));
    std::this_thread::sleep_for(300ms);
    sound.clear();
    viewer.frames.clear();
    system.clear();
    EXPECT_TRUE(system.waitForSeconds(0.3)) << "the rest goes on";
    EXPECT_TRUE(sound.samples().empty()) << "another microphone was listened to";

    microphone = newMicrophone();
    camera = newCamera();
    EXPECT_TRUE(sound.waitForSeconds(0.2));
    EXPECT_TRUE(viewer.waitForFrames(3));
    EXPECT_EQ(lines("is missing"), 2U);
    EXPECT_EQ(lines("is back"), 2U);

    log.clear();
    server->kill();
    EXPECT_TRUE(waitUntil([&] { return lines("is missing") == 3; }, test::kPatience));
    server->start();
    microphone = newMicrophone();
    camera = newCamera();
    sound.clear();
    viewer.frames.clear();
    system.clear();
    EXPECT_TRUE(sound.waitForSeconds(0.2));
    EXPECT_TRUE(system.waitForSeconds(0.2));
    EXPECT_TRUE(viewer.waitForFrames(3));
    EXPECT_EQ(lines("is missing"), 3U);
    EXPECT_EQ(lines("is back"), 3U);

    // A server that hangs holds up nobody.
    server->freeze();
    const auto begin = std::chrono::steady_clock::now();
    viewer.session().stopRunning();
    { Listener late(hub, PipeWireSoundStream::Source::systemSound); }
    EXPECT_FALSE(desktop.captureDevices().cameras().empty());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
    server->thaw();
}

}  // namespace
}  // namespace varnelle
