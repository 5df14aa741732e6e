#include "platform/linux/PipeWireAudioOutput.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <iostream>
#include <memory>
#include <numbers>
#include <optional>
#include <thread>

#include "foundation/HostClock.h"
#include "foundation/Log.h"
#include "media/MediaAsset.h"
#include "media/Player.h"
#include "platform/linux/PipeWireSoundStream.h"
#include "support/FakeCompositor.h"
#include "support/MediaFixtures.h"
#include "support/PipeWireServer.h"
#include "support/SoundFixtures.h"
#include "support/TemporaryDirectory.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::PipeWireServer;
using test::waitUntil;

/// Keeps an output filled with a constant, as a player does.
class Feed {
public:
    explicit Feed(AudioOutput& output) : output_(output) {
        fill();
        output_.start();
        thread_ = std::thread([this] {
            while (!isStopping_) {
                fill();
                std::this_thread::sleep_for(10ms);
            }
        });
    }
    ~Feed() {
        isStopping_ = true;
        thread_.join();
        output_.reset();
    }
    Feed(const Feed&) = delete;
    Feed& operator=(const Feed&) = delete;

private:
    void fill() {
        const std::vector<float> sound(std::size_t{4800} * AudioOutput::kChannels, 0.25F);
        while (output_.write(sound) == 4800) {
        }
    }

    AudioOutput& output_;
    std::atomic<bool> isStopping_ = false;
    std::thread thread_;
};

/// Frames heard in a while, by how many would be.
double speedOver(const AudioOutput& output, std::chrono::milliseconds duration) {
    const double before = output.framesHeard();
    const auto begin = std::chrono::steady_clock::now();
    double last = before;
    while (std::chrono::steady_clock::now() - begin < duration) {
        const double now = output.framesHeard();
        EXPECT_GE(now, last) << "time doesn't run back";
        last = now;
        std::this_thread::sleep_for(1ms);
    }
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
    return (output.framesHeard() - before) / (passed.count() * AudioOutput::kRate);
}

bool isPlaying(const AudioOutput& output) {
    return waitUntil([&] { return output.framesHeard() > 0; }, 10s);
}

TEST(PipeWireAudioOutputAbsence, KeepsTimeWithoutAServer) {
    PipeWireAudioOutput output(std::make_shared<PipeWireHub>("/nonexistent/pipewire-0"));
    const Feed feed(output);
    ASSERT_TRUE(isPlaying(output));
    EXPECT_NEAR(speedOver(output, 500ms), 1, 0.1);
}

class PipeWireAudioOutputTest : public testing::Test {
protected:
    void SetUp() override {
        if (!PipeWireServer::isAvailable()) GTEST_SKIP() << PipeWireServer::kMissing;
        server.emplace();
        hub = std::make_shared<PipeWireHub>(server->remoteName());
    }

    std::optional<PipeWireServer> server;
    std::shared_ptr<PipeWireHub> hub;
};

TEST_F(PipeWireAudioOutputTest, KeepsTimeWhateverTheServerDoes) {
    PipeWireAudioOutput output(hub);
    test::Inbox<std::string> lines;
    const LogObserver observer(LogCategory::app, [&](const std::string& line) { lines.put(line); });
    const auto waitForLine = [&](const std::string& text) {
        return lines.waitFor(
            [&](const auto& all) { return !all.empty() && all.back().find(text) != std::string::npos; }, 10s);
    };
    {
        const Feed feed(output);
        ASSERT_TRUE(isPlaying(output));
        EXPECT_NEAR(speedOver(output, 500ms), 1, 0.1);
        EXPECT_EQ(lines.count(), 0U);
        server->freeze();
        EXPECT_TRUE(waitForLine("takes no sound"));
        EXPECT_NEAR(speedOver(output, 500ms), 1, 0.1) << "frozen";
        server->thaw();
        EXPECT_TRUE(waitForLine("is back"));
        EXPECT_NEAR(speedOver(output, 500ms), 1, 0.15) << "thawed";
        server->kill();
        EXPECT_TRUE(waitForLine("isn't running"));
        EXPECT_NEAR(speedOver(output, 500ms), 1, 0.1) << "gone";
        server->start();
        EXPECT_TRUE(waitForLine("is back"));
        EXPECT_NEAR(speedOver(output, 500ms), 1, 0.15) << "back";
    }
    EXPECT_EQ(output.framesHeard(), 0);
}

/// White pictures at every half second, a beep with each. What the output plays is recorded with its times.
TEST_F(PipeWireAudioOutputTest, WhatIsSeenAndHeardIsOneMoment) {
    constexpr double interval = 0.5;
    constexpr int count = 6;
    const test::TemporaryDirectory directory;
    const CMTimeRange range{kCMTimeZero, timeFromSeconds(interval * count + 0.25)};
    test::writeNumberedMovie(directory.file("movie.mov"), test::smallVideo(192, 108),
                             test::regularTimes(100, 30));
    test::writeSound(directory.file("beeps.wav"),
                     {{{"pcm_f32le"}, 0, 4, [](double seconds, int) {
                           const bool isLoud = seconds > 0.25 && std::fmod(seconds, interval) < 0.05;
                           return isLoud ? 0.5 : 0.0;
                       }}});
    auto composition = std::make_shared<Composition>();
    for (const char* name : {"movie.mov", "beeps.wav"}) {
        const auto asset = std::make_shared<const MediaAsset>(directory.file(name));
        const MediaTrack& track = asset->tracks().front();
        composition->addTrack(track.mediaType).insertTimeRange(range, asset, track, kCMTimeZero);
    }
    auto item = std::make_shared<PlayerItem>();
    item->composition = composition;
    item->videoComposition.makeCompositor = [] { return std::make_shared<test::PassThroughCompositor>(1); };
    item->videoComposition.instruction =
        std::make_shared<test::PlainInstruction>(range, std::vector<TrackID>{1});
    item->videoComposition.renderSize = {192, 108};
    item->videoComposition.frameDuration = CMTime::make(1, 30);

    test::Inbox<SampleBuffer> heard;
    SerialQueue queue("test.sound");
    PipeWireSoundStream listener(hub, PipeWireSoundStream::Source::systemSound, {}, queue,
                                 [&](const SampleBuffer& sample) { heard.put(sample); });
    listener.start();
    Player player(std::make_shared<PipeWireAudioOutput>(hub));
    std::vector<double> seenAt(count + 1, 0);
    test::Inbox<int> ends;
    PlayerControls::Handlers handlers;
    handlers.onFrame = [&](const PlayerFrame& frame) {
        const double seconds = frame.time.seconds();
        const auto number = static_cast<std::size_t>(std::llround(seconds / interval));
        if (std::abs(seconds - static_cast<double>(number) * interval) < 1e-6) {
            seenAt[number] = hostTimeNow().seconds();
        }
    };
    handlers.onEnd = [&](const auto&) { ends.put(0); };
    player.setHandlers(std::move(handlers));
    player.replaceCurrentItem(item);
    player.play();
    ASSERT_TRUE(ends.waitForCount(1, 20s));

    // A beep begins where it is loud after having been still for a while.
    std::vector<double> heardAt;
    double lastLoud = 0;
    for (const SampleBuffer& sample : heard.items()) {
        const PCMBlock& block = *sample.pcm();
        for (std::size_t i = 0; i < block.frameCount(); ++i) {
            if (std::abs((*block.samples)[i * 2]) < 0.2F) continue;
            const double time = sample.presentationTime.seconds() + static_cast<double>(i) / block.sampleRate;
            if (time - lastLoud > interval / 2) heardAt.push_back(time);
            lastLoud = time;
        }
    }
    ASSERT_EQ(heardAt.size(), std::size_t{count});
    std::vector<double> offsets;
    for (std::size_t i = 0; i < heardAt.size(); ++i) offsets.push_back(seenAt[i + 1] - heardAt[i]);
    std::sort(offsets.begin(), offsets.end());
    const double median = offsets[offsets.size() / 2];
    std::cout << "seen " << median * 1000 << " ms after it was heard, in the median\n";
    EXPECT_LT(std::abs(median), 0.02) << "seconds from hearing to seeing";
}

}  // namespace
}  // namespace varnelle
