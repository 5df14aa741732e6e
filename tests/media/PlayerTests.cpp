#include "media/Player.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>

#include "media/MediaAsset.h"
#include "media/MediaError.h"
#include "media/SilentAudioOutput.h"
#include "support/FakeCompositor.h"
#include "support/ManualAudioOutput.h"
#include "support/MediaFixtures.h"
#include "support/SoundFixtures.h"
#include "support/TemporaryDirectory.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr auto kDeadline = 20s;
constexpr int kFrameRate = 30;
constexpr int kFrameCount = 120;
constexpr double kSeconds = double{kFrameCount} / kFrameRate;
constexpr std::size_t kSoundRate = AudioOutput::kRate;

/// Once it stays the same: a thread that was joined leaves the list a little later.
std::size_t threadCount() {
    std::size_t last = 0;
    int sameLooks = 0;
    EXPECT_TRUE(test::waitUntil(
        [&] {
            const auto tasks = std::filesystem::directory_iterator("/proc/self/task");
            const auto count = static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
            sameLooks = count == last ? sameLooks + 1 : 1;
            last = count;
            return sameLooks == 5;
        },
        kDeadline, 20ms));
    return last;
}

float noiseAt(double seconds) {
    return test::noise(std::llround(seconds * kSoundRate), 0, 0.25F);
}

/// What a frame and a sound of a movie are told apart by: frames have numbers, sound is noise.
class PlayerTest : public testing::Test {
protected:
    struct Shown {
        int number;
        CMTime time;
        CMTime clock;  ///< when it was shown
    };

    static void SetUpTestSuite() {
        directory_ = new test::TemporaryDirectory;
        test::writeNumberedMovie(directory_->file("movie.mov"), test::smallVideo(192, 108),
                                 test::regularTimes(kFrameCount, kFrameRate));
        test::writeSound(
            directory_->file("noise.wav"),
            {{{"pcm_f32le"}, 0, kSeconds, [](double seconds, int) { return noiseAt(seconds); }}});
        test::writeSound(directory_->file("tone.wav"), {{{"pcm_f32le"}, 0, kSeconds, test::tone(500, 0.5)}});
    }
    static void TearDownTestSuite() { delete directory_; }

    ~PlayerTest() override { player.reset(); }

    PlayerTest() { makePlayer(output); }

    void makePlayer(std::shared_ptr<AudioOutput> audioOutput) {
        player = std::make_unique<Player>(std::move(audioOutput));
        PlayerControls::Handlers handlers;
        handlers.onFrame = [this, made = player.get()](const PlayerFrame& frame) {
            const bool isNumbered = frame.picture.format() != PixelFormat::bgra;
            shown.put({isNumbered ? test::readNumber(frame.picture) : -2, frame.time, made->currentTime()});
        };
        handlers.onStatusChange = [this, made = player.get()] {
            events.put(made->isPlaying() ? "playing" : "paused");
        };
        handlers.onEnd = [this](const auto&) { events.put("end"); };
        handlers.onFailure = [this](const auto&, const std::exception_ptr& failure) {
            events.put("failed: " + test::errorText(failure));
        };
        handlers.onTime = [this](const CMTime& time) { times.put(time); };
        player->setHandlers(std::move(handlers));
    }

    static std::shared_ptr<const MediaAsset> asset(const std::string& name) {
        return std::make_shared<const MediaAsset>(directory_->file(name));
    }

    /// The movie with a sound, or with none.
    static std::shared_ptr<PlayerItem> makeItem(const std::string& sound,
                                                std::shared_ptr<VideoCompositing> compositor,
                                                double seconds = kSeconds) {
        auto composition = std::make_shared<Composition>();
        const CMTimeRange range{kCMTimeZero, timeFromSeconds(seconds)};
        const auto movie = asset("movie.mov");
        composition->addTrack(MediaType::video)
            .insertTimeRange(range, movie, movie->tracks().front(), kCMTimeZero);
        if (!sound.empty()) {
            const auto soundAsset = asset(sound);
            composition->addTrack(MediaType::audio)
                .insertTimeRange(range, soundAsset, soundAsset->tracks().front(), kCMTimeZero);
        }
        auto item = std::make_shared<PlayerItem>();
        item->composition = composition;
        item->videoComposition.makeCompositor = [compositor = std::move(compositor)] { return compositor; };
        item->videoComposition.instruction =
            std::make_shared<test::PlainInstruction>(range, std::vector<TrackID>{1});
        item->videoComposition.renderSize = {192, 108};
        item->videoComposition.frameDuration = CMTime::make(1, kFrameRate);
        return item;
    }
    static std::shared_ptr<PlayerItem> plainItem(const std::string& sound, double seconds = kSeconds) {
        return makeItem(sound, std::make_shared<test::PassThroughCompositor>(1), seconds);
    }

    void seek(double seconds) {
        player->seek(CMTime::fromSeconds(seconds, 48'000), [this](bool isFinished) {
            completions.put(isFinished ? static_cast<int>(shown.count()) : -1);
        });
    }
    bool waitForFrame(int number) {
        return shown.waitFor(
            [number](const auto& all) { return !all.empty() && all.back().number == number; }, kDeadline);
    }
    bool waitForEvent(const std::string& event) {
        return events.waitFor([&](const auto& all) { return !all.empty() && all.back() == event; },
                              kDeadline);
    }

    std::shared_ptr<test::ManualAudioOutput> output = std::make_shared<test::ManualAudioOutput>();
    test::Inbox<Shown> shown;
    test::Inbox<int> completions;  ///< -1, or how many frames had been shown by then
    test::Inbox<std::string> events;
    test::Inbox<CMTime> times;
    std::unique_ptr<Player> player;

private:
    static inline test::TemporaryDirectory* directory_ = nullptr;
};

TEST_F(PlayerTest, ASeekShowsExactlyTheFrameOfItsTime) {
    player->replaceCurrentItem(plainItem("noise.wav"));
    struct Case {
        double seconds;
        int number;
    };
    std::size_t count = 0;
    for (const Case& step : {Case{0, 0}, Case{1.0 / 30 - 0.001, 0}, Case{1.0 / 30, 1}, Case{2.51, 75},
                             Case{2.49, 74}, Case{0.5, 15}, Case{3.999, 119}, Case{99, 119}, Case{-1, 0}}) {
        seek(step.seconds);
        ASSERT_TRUE(completions.waitForCount(++count, kDeadline));
        ASSERT_EQ(shown.count(), count) << "one frame a seek";
        EXPECT_EQ(completions.items().back(), static_cast<int>(count)) << "the frame comes first";
        EXPECT_EQ(shown.items().back().number, step.number) << step.seconds;
        EXPECT_EQ(shown.items().back().time, CMTime::make(step.number, kFrameRate));
        EXPECT_NEAR(player->currentTime().seconds(), std::clamp(step.seconds, 0.0, kSeconds), 1e-4);
    }
    EXPECT_EQ(events.count(), 0U);
}

TEST_F(PlayerTest, ANewerSeekCancelsThoseBefore) {
    const auto compositor = std::make_shared<test::StuckCompositor>();
    player->replaceCurrentItem(makeItem("", compositor));
    seek(1);
    compositor->waitForRequests(1);
    for (const double seconds : {3.0, 2.0, 0.5}) seek(seconds);
    ASSERT_TRUE(completions.waitForCount(3, kDeadline));
    auto request = compositor->take();
    // One that has been waited for too long is carried through, and the next one waits for it.
    while (request->compositionTime() != CMTime::make(15, kFrameRate)) {
        request->finishCancelledRequest();
        request = compositor->take();
    }
    EXPECT_THAT(completions.items(), ElementsAre(-1, -1, -1)) << "the last one isn't there yet";
    request->finish(*request->sourceFrame(1));
    ASSERT_TRUE(completions.waitForCount(4, kDeadline));
    EXPECT_EQ(completions.items().back(), 1);
    EXPECT_TRUE(waitForFrame(15));

    seek(1);
    player->cancelPendingSeeks();
    ASSERT_TRUE(completions.waitForCount(5, kDeadline));
    EXPECT_EQ(completions.items().back(), -1);
    EXPECT_EQ(player->currentTime(), CMTime::make(1, 1)) << "the position stays where the seek was to go";
}

TEST_F(PlayerTest, ALongScrubShowsFramesNowAndThenAndEndsWithTheLast) {
    player->replaceCurrentItem(plainItem(""));
    std::mt19937 random(7);
    const auto begin = std::chrono::steady_clock::now();
    int number = 0;
    std::size_t count = 0;
    // Faster than frames can be made, for as long as it takes to see some.
    while (shown.count() < 5 && std::chrono::steady_clock::now() - begin < kDeadline) {
        number = static_cast<int>(random() % kFrameCount);
        seek((number + 0.5) / kFrameRate);
        ++count;
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_GE(shown.count(), 5U);
    ASSERT_TRUE(completions.waitForCount(count, kDeadline));
    ASSERT_TRUE(waitForFrame(number));
    EXPECT_GT(completions.items().back(), 0);
}

TEST_F(PlayerTest, PicturesKeepToTheSound) {
    const auto compositor = std::make_shared<test::PassThroughCompositor>(1);
    player->replaceCurrentItem(makeItem("noise.wav", compositor));
    seek(1);
    ASSERT_TRUE(waitForFrame(30));
    player->play();
    // Steps of 5 ms: each frame is shown in the step in which the sound comes to it. The sound waits until
    // the frame is made, so that none is left out for being late.
    for (std::size_t i = 1; i <= 200; ++i) {
        const int number = 30 + static_cast<int>(i * kFrameRate / 200);
        const auto isMade = [&](const auto& all) {
            return std::find(all.begin(), all.end(), CMTime::make(number, kFrameRate)) != all.end();
        };
        ASSERT_TRUE(compositor->finished.waitFor(isMade, kDeadline)) << i;
        ASSERT_TRUE(output->advance(kSoundRate / 200));
        ASSERT_TRUE(waitForFrame(number)) << i;
    }
    for (const Shown& frame : shown.items()) {
        EXPECT_GE(frame.clock, frame.time) << "too early";
        EXPECT_LT((frame.clock - frame.time).seconds(), 0.02);
    }
    const std::vector<float> heard = output->heard();
    for (std::size_t i = 0; i < heard.size(); ++i) {
        ASSERT_NEAR(heard[i], noiseAt(1 + static_cast<double>(i) / kSoundRate), 1e-6) << i;
    }
    EXPECT_EQ(player->currentTime(), CMTime::make(2, 1));
    EXPECT_EQ(player->statistics().framesDropped, 0);
    player->pause();
    ASSERT_TRUE(waitForEvent("paused"));
    EXPECT_THAT(events.items(), ElementsAre("playing", "paused"));
    EXPECT_TRUE(times.waitFor(
        [](const auto& all) { return !all.empty() && all.back() == CMTime::make(2, 1); }, kDeadline));
}

TEST_F(PlayerTest, OnItsOwnClockPicturesAreInStepToo) {
    makePlayer(std::make_shared<SilentAudioOutput>());
    player->replaceCurrentItem(plainItem("noise.wav", 2));
    const auto begin = std::chrono::steady_clock::now();
    player->play();
    ASSERT_TRUE(events.waitFor([](const auto& all) { return all.size() == 3; }, kDeadline));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 2s);
    EXPECT_THAT(events.items(), ElementsAre("playing", "paused", "end"));
    std::vector<double> lateness;
    for (const Shown& frame : shown.items()) lateness.push_back((frame.clock - frame.time).seconds());
    std::sort(lateness.begin(), lateness.end());
    EXPECT_GE(lateness.front(), 0);
    EXPECT_LT(lateness[lateness.size() / 2], 0.01) << "seconds, on a machine that may be busy";
    EXPECT_GT(times.count(), 10U);
}

TEST_F(PlayerTest, OtherRatesKeepThePitch) {
    player->replaceCurrentItem(plainItem("tone.wav"));
    for (const double rate : {0.5, 1.5, 2.0, 8.0}) {
        player->setRate(rate);
        seek(0);
        ASSERT_TRUE(waitForFrame(0));
        player->play();
        const double seconds = 0.45;
        ASSERT_TRUE(output->advance(static_cast<std::size_t>(seconds * kSoundRate)));
        EXPECT_NEAR(player->currentTime().seconds(), seconds * rate, 0.001);
        const std::vector<float> heard = output->heard();
        player->pause();
        EXPECT_TRUE(waitForFrame(static_cast<int>(std::floor(seconds * rate * kFrameRate)))) << rate;
        // Joints of the stretched sound disturb the phase, so short windows are looked at.
        double kept = 0;
        double moved = 0;
        for (std::size_t begin = 4800; begin + 2400 <= heard.size(); begin += 2400) {
            kept += test::fitTone(heard, begin, begin + 2400, 500).amplitude;
            moved += test::fitTone(heard, begin, begin + 2400, 500 * rate).amplitude;
        }
        EXPECT_GT(kept, 5 * moved) << rate;
    }
}

/// Bursts at known moments come out where the clock says, as far as stretching can do that.
TEST_F(PlayerTest, StretchedSoundIsInStep) {
    const test::TemporaryDirectory directory;
    const auto isBurst = [](double seconds) { return std::fmod(seconds, 0.8) < 0.1; };
    test::writeSound(directory.file("bursts.wav"),
                     {{{"pcm_f32le"}, 0, kSeconds, [&](double seconds, int) {
                           return isBurst(seconds) ? 0.5 * std::sin(2 * 3.14159 * 800 * seconds) : 0.0;
                       }}});
    const auto item = plainItem("");
    auto composition = std::make_shared<Composition>(*item->composition);
    const auto bursts = std::make_shared<const MediaAsset>(directory.file("bursts.wav"));
    composition->addTrack(MediaType::audio)
        .insertTimeRange({kCMTimeZero, timeFromSeconds(kSeconds)}, bursts, bursts->tracks().front(),
                         kCMTimeZero);
    item->composition = composition;
    player->replaceCurrentItem(item);
    for (const double rate : {0.5, 0.75, 1.5, 2.0, 4.0}) {
        player->setRate(rate);
        seek(0.5);
        player->play();
        ASSERT_TRUE(output->advance(static_cast<std::size_t>((kSeconds - 0.6) / rate * kSoundRate)));
        const std::vector<float> heard = output->heard();
        double quiet = 0;
        int onsets = 0;
        for (std::size_t i = 0; i < heard.size(); ++i) {
            const bool isLoud = std::abs(heard[i]) > 0.1;
            if (isLoud && quiet > 0.05 * kSoundRate) {
                const double seconds = 0.5 + static_cast<double>(i) / kSoundRate * rate;
                const double off = std::remainder(seconds, 0.8) / rate;
                EXPECT_LT(std::abs(off), 0.02) << "seconds at rate " << rate;
                ++onsets;
            }
            quiet = isLoud ? 0 : quiet + 1;
        }
        EXPECT_EQ(onsets, 4) << rate;
        player->pause();
    }
}

TEST_F(PlayerTest, ChangingTheRateGoesOnFromWhereItIs) {
    player->replaceCurrentItem(plainItem("noise.wav"));
    player->play();
    ASSERT_TRUE(output->advance(kSoundRate / 2));
    player->setRate(2);
    EXPECT_EQ(player->currentTime(), CMTime::make(1, 2));
    ASSERT_TRUE(output->advance(kSoundRate / 2));
    EXPECT_NEAR(player->currentTime().seconds(), 1.5, 0.001);
    player->setRate(1);
    seek(3);
    ASSERT_TRUE(completions.waitForCount(1, kDeadline));
    ASSERT_TRUE(output->advance(kSoundRate / 2));
    EXPECT_NEAR(output->heard()[4800], noiseAt(3.1), 1e-6) << "a seek while it plays goes on playing";
    player->pause();
    EXPECT_TRUE(waitForFrame(105));
}

TEST_F(PlayerTest, TheEndIsToldAndAnotherPlayBeginsAfterASeek) {
    player->replaceCurrentItem(plainItem("noise.wav", 1.01));
    for (int round = 0; round < 2; ++round) {
        seek(0);
        player->play();
        ASSERT_TRUE(output->advance(48'480));
        ASSERT_TRUE(waitForEvent("end"));
        ASSERT_TRUE(waitForFrame(30));
        EXPECT_EQ(player->currentTime(), timeFromSeconds(1.01));
    }
    EXPECT_THAT(events.items(), ElementsAre("playing", "paused", "end", "playing", "paused", "end"));
}

TEST_F(PlayerTest, VolumesChangeWhileItPlays) {
    const auto item = plainItem("tone.wav");
    item->audioMix = {{{2, 0}}};
    player->replaceCurrentItem(item);
    player->play();
    ASSERT_TRUE(output->advance(kSoundRate / 2));
    const int resets = output->resetCount();
    player->setAudioMix({{{2, 1}}});
    ASSERT_TRUE(output->advance(kSoundRate / 2));
    const std::vector<float> heard = output->heard();
    EXPECT_EQ(output->resetCount(), resets) << "it goes on without a jump";
    EXPECT_EQ(std::count(heard.begin(), heard.begin() + kSoundRate / 2, 0.0F), kSoundRate / 2);
    const auto fit = test::fitTone(heard, kSoundRate * 3 / 4, kSoundRate, 500);
    EXPECT_NEAR(fit.amplitude, 0.5, 0.001) << "soon after the change, in full";
    EXPECT_LT(fit.residueDecibels, -60);
    for (std::size_t i = 1; i < heard.size(); ++i) ASSERT_LT(std::abs(heard[i] - heard[i - 1]), 0.06) << i;
}

TEST_F(PlayerTest, RedrawsInFlightComeToOneMore) {
    const auto compositor = std::make_shared<test::StuckCompositor>();
    player->replaceCurrentItem(makeItem("", compositor));
    seek(1);
    auto request = compositor->take();
    request->finish(*request->sourceFrame(1));
    ASSERT_TRUE(waitForFrame(30));
    player->redraw();
    const auto first = compositor->take();
    for (int i = 0; i < 10; ++i) player->redraw();
    first->finish(*first->sourceFrame(1));
    ASSERT_TRUE(shown.waitForCount(2, kDeadline));
    const auto second = compositor->take();
    EXPECT_EQ(second->compositionTime(), CMTime::make(1, 1));
    second->finish(*second->sourceFrame(1));
    ASSERT_TRUE(shown.waitForCount(3, kDeadline));
    // Whatever else had been asked for would come before this.
    player->setRenderSize({96, 96});
    const auto smaller = compositor->take();
    EXPECT_EQ(smaller->renderContext()->size(), (CGSize{96, 54}));
    smaller->finish(*smaller->sourceFrame(1));
    ASSERT_TRUE(shown.waitForCount(4, kDeadline));
    player->setRenderSize({9600, 5400});
    const auto largest = compositor->take();
    EXPECT_EQ(largest->renderContext()->size(), (CGSize{192, 108})) << "never more than the composition has";
    largest->finish(*largest->sourceFrame(1));
    ASSERT_TRUE(shown.waitForCount(5, kDeadline));
}

TEST_F(PlayerTest, AFailureIsToldOnceAndPauses) {
    const auto compositor = std::make_shared<test::StuckCompositor>();
    player->replaceCurrentItem(makeItem("", compositor));
    seek(1);
    player->play();
    ASSERT_TRUE(waitForEvent("playing"));
    compositor->take()->finish(std::make_exception_ptr(Error("no picture")));
    ASSERT_TRUE(waitForEvent("failed: no picture"));
    EXPECT_THAT(events.items(), ElementsAre("playing", "paused", "failed: no picture"));
    EXPECT_THAT(completions.items(), ElementsAre(-1));

    const test::TemporaryDirectory directory;
    std::filesystem::copy_file(asset("movie.mov")->url().path(), directory.file("gone.mov").path());
    auto gone = std::make_shared<const MediaAsset>(directory.file("gone.mov"));
    std::filesystem::remove(directory.file("gone.mov").path());
    const auto item = plainItem("");
    auto composition = std::make_shared<Composition>();
    composition->addTrack(MediaType::video)
        .insertTimeRange({kCMTimeZero, CMTime::make(1, 1)}, gone, gone->tracks().front(), kCMTimeZero);
    item->composition = composition;
    player->replaceCurrentItem(item);
    seek(0);
    ASSERT_TRUE(events.waitForCount(4, kDeadline));
    EXPECT_THAT(events.items().back(), HasSubstr("gone.mov"));
    // It is none the worse for it.
    player->replaceCurrentItem(plainItem(""));
    seek(2);
    EXPECT_TRUE(waitForFrame(60));
}

TEST_F(PlayerTest, NothingOfAnOldItemIsShownAfterANewOne) {
    const auto old = std::make_shared<test::StuckCompositor>();
    player->replaceCurrentItem(makeItem("", old));
    seek(1);
    const auto request = old->take();
    player->replaceCurrentItem(plainItem("noise.wav"));
    ASSERT_TRUE(completions.waitForCount(1, kDeadline));
    EXPECT_EQ(completions.items().back(), -1);
    request->finish(*request->sourceFrame(1));
    EXPECT_EQ(player->currentTime(), kCMTimeZero);
    seek(0.5);
    ASSERT_TRUE(waitForFrame(15));
    EXPECT_EQ(shown.count(), 1U);
    player->replaceCurrentItem(nullptr);
    seek(1);
    player->play();
    ASSERT_TRUE(completions.waitForCount(3, kDeadline));
    EXPECT_EQ(completions.items().back(), -1);
    EXPECT_EQ(events.count(), 0U) << "there is nothing to play";
}

TEST_F(PlayerTest, NoThreadIsLeftWhateverItIsInTheMidstOf) {
    player.reset();
    const std::size_t threads = threadCount();
    std::mt19937 random(3);
    for (int round = 0; round < 40; ++round) {
        makePlayer(std::make_shared<SilentAudioOutput>());
        const auto compositor = std::make_shared<test::StuckCompositor>();
        player->replaceCurrentItem(round % 3 == 0 ? makeItem("noise.wav", compositor)
                                                  : plainItem("noise.wav"));
        std::size_t seeks = 0;
        for (std::uint32_t i = random() % 8; i > 0; --i) {
            switch (random() % 5) {
                case 0:
                    player->play();
                    break;
                case 1:
                    player->setRate(static_cast<double>(random() % 9));
                    break;
                case 2:
                    player->replaceCurrentItem(plainItem("tone.wav"));
                    break;
                case 3:
                    player->pause();
                    break;
                default:
                    seek(static_cast<double>(random() % 4));
                    ++seeks;
            }
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        }
        player.reset();
        const std::size_t told = completions.count();
        EXPECT_EQ(told, seeks) << "each seek hears of its end";
        completions.clear();
    }
    EXPECT_EQ(threadCount(), threads);
}

}  // namespace
}  // namespace varnelle
