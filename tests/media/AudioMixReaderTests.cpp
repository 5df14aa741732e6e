#include "media/AudioMixReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <numbers>

#include "foundation/AtomicFile.h"
#include "foundation/Log.h"
#include "media/MediaError.h"
#include "support/SoundFixtures.h"
#include "support/TemporaryDirectory.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using test::channelOf;
using test::fitTone;
using test::mixed;
using test::noise;
using test::TemporaryDirectory;
using test::tone;
using testing::HasSubstr;

constexpr std::int64_t kRate = 48'000;
/// Samples: 4 ms.
constexpr std::int64_t kFade = 192;

test::Waveform noiseWaveform() {
    return [](double seconds, int channel) { return noise(std::llround(seconds * kRate), channel); };
}

std::shared_ptr<const MediaAsset> soundFile(const URL& url, const test::SoundFormat& format, double seconds,
                                            const test::Waveform& waveform) {
    test::writeSound(url, {{format, 0, seconds, waveform}});
    return std::make_shared<const MediaAsset>(url);
}

std::shared_ptr<Composition> wholeOf(const std::shared_ptr<const MediaAsset>& asset, double seconds) {
    auto composition = std::make_shared<Composition>();
    composition->addTrack(MediaType::audio)
        .insertTimeRange({kCMTimeZero, timeFromSeconds(seconds)}, asset,
                         asset->tracks(MediaType::audio).front(), kCMTimeZero);
    return composition;
}

/// A stretch of the source as it is expected in the mix, in samples.
struct Stretch {
    std::int64_t sourceBegin;
    std::int64_t begin;
    std::int64_t end;
    bool fadesIn = true;
    bool fadesOut = true;
};

float expectedGain(const Stretch& stretch, std::int64_t place) {
    const auto fade = [](std::int64_t distance) {
        if (distance >= kFade) return 1.0;
        return std::pow(std::sin(std::numbers::pi / 2 * (double(distance) + 0.5) / kFade), 2);
    };
    double gain = 1;
    if (stretch.fadesIn) gain *= fade(place - stretch.begin);
    if (stretch.fadesOut) gain *= fade(stretch.end - 1 - place);
    return static_cast<float>(gain);
}

/// The mix holds the noise of the source in the stretches and silence elsewhere; exactly, but for the
/// rounding of fades.
void expectStretches(const std::vector<float>& sound, const std::vector<Stretch>& stretches,
                     std::int64_t sourceLength) {
    std::vector<float> expected(sound.size(), 0.0F);
    std::vector<float> tolerance(sound.size(), 0.0F);
    for (const Stretch& stretch : stretches) {
        for (std::int64_t i = stretch.begin; i < stretch.end; ++i) {
            const std::int64_t source = stretch.sourceBegin + i - stretch.begin;
            if (source < 0 || source >= sourceLength) continue;
            const float gain = expectedGain(stretch, i);
            for (int c = 0; c < 2; ++c) {
                expected.at(static_cast<std::size_t>(2 * i + c)) = gain * noise(source, c);
                tolerance[static_cast<std::size_t>(2 * i + c)] = gain == 1 ? 0 : 1e-6F;
            }
        }
    }
    int wrong = 0;
    for (std::size_t i = 0; i < sound.size() && wrong < 3; ++i) {
        if (std::abs(sound[i] - expected[i]) <= tolerance[i]) continue;
        ADD_FAILURE() << "sample " << i / 2 << ": " << sound[i] << " instead of " << expected[i];
        ++wrong;
    }
}

TEST(AudioMixReader, PutsEverySampleWhereTheCutsSay) {
    const TemporaryDirectory directory;
    constexpr double seconds = 4;
    const auto asset =
        soundFile(directory.file("noise.mov"), {"pcm_f32le", kRate, 2}, seconds, noiseWaveform());
    const MediaTrack source = asset->tracks().front();
    auto composition = std::make_shared<Composition>();
    CompositionTrack& track = composition->addTrack(MediaType::audio);
    const auto append = [&](CMTime from, CMTime length, CMTime gap = kCMTimeZero) {
        track.insertTimeRange({from, length}, asset, source, track.duration() + gap);
    };
    // [ 0..1 | 1..1.25 ][ 3..3.5 ]    [ 0.5..0.75 ][ 3.9..4.4: the source ends at 4 ]
    append(kCMTimeZero, CMTime::make(1, 1));
    append(CMTime::make(1, 1), CMTime::make(1, 4));
    append(CMTime::make(3, 1), CMTime::make(1, 2));
    append(CMTime::make(1, 2), CMTime::make(1, 4), CMTime::make(1, 10));
    append(CMTime::make(39, 10), CMTime::make(1, 2));
    const std::vector<float> sound = mixed(composition);
    ASSERT_EQ(sound.size(), 2U * 124'800);
    expectStretches(sound,
                    {{0, 0, 60'000, false, true},
                     {144'000, 60'000, 84'000},
                     {24'000, 88'800, 100'800},
                     {187'200, 100'800, 124'800, true, false}},
                    static_cast<std::int64_t>(seconds * kRate));
}

TEST(AudioMixReader, DoesntDriftOverManyCutsBetweenSamples) {
    const TemporaryDirectory directory;
    const auto asset = soundFile(directory.file("noise.mov"), {"pcm_f32le", kRate, 2}, 4, noiseWaveform());
    const MediaTrack source = asset->tracks().front();
    // 1001/30000 s is 1601.6 samples.
    const CMTime piece = CMTime::make(1001, 30'000);
    auto contiguous = std::make_shared<Composition>();
    auto reversed = std::make_shared<Composition>();
    CompositionTrack& forward = contiguous->addTrack(MediaType::audio);
    CompositionTrack& backward = reversed->addTrack(MediaType::audio);
    std::vector<Stretch> stretches;
    constexpr int count = 100;
    const auto sampleAt = [](int index) { return (std::int64_t{index} * 1001 * kRate + 15'000) / 30'000; };
    for (int i = 0; i < count; ++i) {
        const CMTime at = CMTime::make(std::int64_t{1001} * i, 30'000);
        const CMTime from = CMTime::make(std::int64_t{1001} * (count - 1 - i), 30'000);
        forward.insertTimeRange({at, piece}, asset, source, at);
        backward.insertTimeRange({from, piece}, asset, source, at);
        stretches.push_back({sampleAt(count - 1 - i), sampleAt(i), sampleAt(i + 1)});
    }
    const std::int64_t length = sampleAt(count);
    const std::vector<float> straight = mixed(contiguous);
    ASSERT_EQ(static_cast<std::int64_t>(straight.size()), 2 * length);
    expectStretches(straight, {{0, 0, length, false, true}}, 4 * kRate);
    const std::vector<float> sound = mixed(reversed);
    ASSERT_EQ(static_cast<std::int64_t>(sound.size()), 2 * length);
    expectStretches(sound, stretches, 4 * kRate);
}

struct FormCase {
    const char* name;
    const char* file;
    test::SoundFormat format;
    double left = 1;  // level of a tone in all channels
    double right = 1;
};

class SoundForms : public testing::TestWithParam<FormCase> {};

TEST_P(SoundForms, ComeCleanAndInTime) {
    const FormCase& form = GetParam();
    const TemporaryDirectory directory;
    for (const double frequency : {1'000.0, 15'000.0}) {
        if (frequency > 0.4 * form.format.rate) continue;
        const auto asset = soundFile(directory.file(form.file), form.format, 1.5, tone(frequency, 0.25));
        auto composition = std::make_shared<Composition>();
        CompositionTrack& track = composition->addTrack(MediaType::audio);
        const MediaTrack source = asset->tracks().front();
        // The second half first, so that reading begins inside the file and goes back.
        track.insertTimeRange({CMTime::make(1, 2), CMTime::make(1, 2)}, asset, source, kCMTimeZero);
        track.insertTimeRange({kCMTimeZero, CMTime::make(1, 2)}, asset, source, CMTime::make(1, 2));
        const std::vector<float> sound = mixed(composition);
        ASSERT_EQ(sound.size(), 2U * kRate);
        for (int side = 0; side < 2; ++side) {
            for (const std::size_t begin : {std::size_t{1'000}, std::size_t{25'000}}) {
                const auto fit = fitTone(channelOf(sound, side), begin, begin + 22'000, frequency);
                const double level = side == 0 ? form.left : form.right;
                SCOPED_TRACE(testing::Message() << frequency << " Hz, side " << side << " from " << begin);
                EXPECT_NEAR(fit.amplitude, 0.25 * level, 0.25 * level * 0.002);
                EXPECT_NEAR(fit.delaySamples, 0, 0.002);
                EXPECT_LT(fit.residueDecibels, -80);
            }
        }
    }
}

TEST(AudioMixReader, LeavesOutWhatIsTooHighForTheMix) {
    const TemporaryDirectory directory;
    const auto asset = soundFile(directory.file("high.mov"), {"pcm_f32le", 96'000, 2}, 1, tone(30'000, 0.5));
    // It would come back at 18 kHz.
    EXPECT_LT(fitTone(channelOf(mixed(wholeOf(asset, 1)), 0), 1'000, 47'000, 18'000).amplitude, 0.5e-4);
}

INSTANTIATE_TEST_SUITE_P(
    All, SoundForms,
    testing::Values(FormCase{"mono8k", "sound.mov", {"pcm_s16le", 8'000, 1}},
                    FormCase{"nineChannels", "sound.mov", {"pcm_s16le", 48'000, 9}},
                    FormCase{"stereo11k", "sound.mov", {"pcm_s16le", 11'025, 2}},
                    FormCase{"mono44k", "sound.mov", {"pcm_s16le", 44'100, 1}},
                    FormCase{"float44k", "sound.mov", {"pcm_f32le", 44'100, 2}},
                    FormCase{"planar44k", "sound.m4a", {"alac", 44'100, 2}},
                    // No small ratio to the rate of the mix.
                    FormCase{"odd44k", "sound.mov", {"pcm_f32le", 44'101, 2}},
                    FormCase{"float96k", "sound.mov", {"pcm_f32le", 96'000, 2}},
                    FormCase{"stereo192k", "sound.mov", {"pcm_s24le", 192'000, 2}},
                    // Front, centre and surround: 1 + 0.7071 + 0.7071.
                    FormCase{"surround", "sound.mov", {"pcm_s16le", 48'000, 6}, 2.41421, 2.41421}),
    [](const auto& test) { return std::string(test.param.name); });

/// How a recording with noise as sound came to be.
enum class Recording { regular, inFragments, neverFinished };

/// What of a recording of three seconds can be read at the end.
std::shared_ptr<const MediaAsset> recordedNoise(const URL& url, Recording recording, double startSeconds) {
    AssetWriter writer(url, FileType::quickTimeMovie,
                       {.survivesTermination = recording != Recording::regular});
    AssetWriterInput* video = writer.addVideoInput(test::smallVideo(64, 64));
    AssetWriterInput* sound = writer.addAudioInput({48'000, 2, 256'000});
    EXPECT_TRUE(writer.startWriting());
    writer.startSession(kCMTimeZero);
    EXPECT_TRUE(
        test::appendWaiting(*video, test::videoSample(test::numberedPicture(64, 64, 0), kCMTimeZero)));
    test::appendSound(*sound, 48'000, 2, startSeconds, 3, noiseWaveform());
    if (recording != Recording::neverFinished) {
        EXPECT_EQ(test::finishAndWait(writer), TransferStatus::completed);
        return std::make_shared<const MediaAsset>(url);
    }
    const URL copy = url.parent().appending("copy.mov");
    std::shared_ptr<const MediaAsset> asset;
    const auto holdsMost = [&] {
        writeFileAtomically(copy, readFile(url));
        try {
            asset = std::make_shared<const MediaAsset>(copy);
        } catch (const MediaError&) {
            return false;  // nothing was flushed yet
        }
        const auto tracks = asset->tracks(MediaType::audio);
        return !tracks.empty() && tracks.front().duration.seconds() > 2.9;
    };
    EXPECT_TRUE(test::waitUntil(holdsMost, std::chrono::seconds(20)));
    return asset;
}

struct RecordedCase {
    const char* name;
    Recording recording;
    double startSeconds;
};

class RecordedSound : public testing::TestWithParam<RecordedCase> {};

TEST_P(RecordedSound, HasSampleZeroAtTimeZero) {
    const TemporaryDirectory directory;
    const double start = GetParam().startSeconds;
    const auto asset = recordedNoise(directory.file("recording.mov"), GetParam().recording, start);
    const MediaTrack source = asset->tracks(MediaType::audio).front();
    auto composition = std::make_shared<Composition>();
    CompositionTrack& track = composition->addTrack(MediaType::audio);
    // The last second first, then the beginning.
    track.insertTimeRange({CMTime::make(2, 1), CMTime::make(1, 1)}, asset, source, kCMTimeZero);
    track.insertTimeRange({kCMTimeZero, CMTime::make(2, 1)}, asset, source, CMTime::make(1, 1));
    const std::vector<float> sound = channelOf(mixed(composition), 0);
    const auto lagOf = [&sound](std::int64_t sourcePlace, std::int64_t place) {
        std::vector<float> expected;
        for (std::int64_t i = sourcePlace; i < sourcePlace + 4'000; ++i) expected.push_back(noise(i, 0));
        return test::lagOf(sound, static_cast<std::size_t>(place), expected, 3000);
    };
    for (const std::int64_t from : {100'000, 120'000}) EXPECT_EQ(lagOf(from, from - 2 * kRate), 0);
    const auto first = std::llround(start * kRate);
    for (const std::int64_t from : {first, first + 40'000}) EXPECT_EQ(lagOf(from, from + kRate), 0);
    for (std::int64_t i = kRate; i < kRate + first - 1024; ++i)
        ASSERT_LT(std::abs(sound[static_cast<std::size_t>(i)]), 0.001F);
}

INSTANTIATE_TEST_SUITE_P(All, RecordedSound,
                         testing::Values(RecordedCase{"regular", Recording::regular, 0},
                                         RecordedCase{"regularLate", Recording::regular, 0.3},
                                         RecordedCase{"inFragments", Recording::inFragments, 0},
                                         RecordedCase{"inFragmentsLate", Recording::inFragments, 0.3},
                                         RecordedCase{"neverFinished", Recording::neverFinished, 0},
                                         RecordedCase{"neverFinishedLate", Recording::neverFinished, 0.3}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(AudioMixReader, MixesAtTheGivenVolumesWithinFullScale) {
    const TemporaryDirectory directory;
    // Loud for a tenth of a second in the middle.
    const auto loud = [](double seconds, int) {
        const double amplitude = seconds > 1 && seconds < 1.1 ? 0.8 : 0.3;
        return amplitude * std::sin(2 * std::numbers::pi * 500 * seconds);
    };
    const auto asset = soundFile(directory.file("loud.mov"), {"pcm_f32le", kRate, 2}, 2, loud);
    const auto other = soundFile(directory.file("other.mov"), {"pcm_f32le", kRate, 1}, 2, loud);
    auto composition = wholeOf(asset, 2);
    composition->addTrack(MediaType::audio)
        .insertTimeRange({kCMTimeZero, CMTime::make(2, 1)}, other, other->tracks().front(), kCMTimeZero);
    const auto first = mixed(composition, {{{2, 0}}});
    EXPECT_EQ(first, mixed(wholeOf(asset, 2)));
    EXPECT_EQ(mixed(composition, {{{1, 0}, {2, 0}}}), std::vector<float>(2U * 2 * kRate, 0.0F));

    const std::vector<float> both = mixed(composition, {{{1, 1}, {2, 1}}});
    ASSERT_EQ(both.size(), first.size());
    float peak = 0;
    for (std::size_t i = 0; i < both.size(); ++i) {
        peak = std::max(peak, std::abs(both[i]));
        const double seconds = double(i / 2) / kRate;
        if (seconds > 0.994 && seconds < 1.106) continue;
        ASSERT_EQ(both[i], 2 * first[i]) << "untouched where nothing is too loud";
    }
    EXPECT_LE(peak, 1);
    EXPECT_GT(peak, 0.99);
    // Turned down rather than cut off: hardly any overtones, where clipping would leave them at -15 dB.
    EXPECT_LT(fitTone(channelOf(both, 0), 48'500, 52'000, 500).residueDecibels, -40);
}

TEST(AudioMixReader, PutsSilenceInThePlaceOfDamage) {
    const TemporaryDirectory directory;
    const URL url = directory.file("recording.mov");
    recordedNoise(url, Recording::regular, 0);
    std::string bytes = readFile(url);
    const auto media = bytes.find("mdat");
    const std::size_t middle = media + (bytes.find("moov") - media) / 2;
    for (std::size_t i = middle; i < middle + 3'000; ++i) bytes[i] = static_cast<char>(0xFF);
    writeFileAtomically(url, bytes);
    std::vector<std::string> log;
    const LogObserver observer(LogCategory::app, [&log](const std::string& line) { log.push_back(line); });
    const auto sound = mixed(wholeOf(std::make_shared<const MediaAsset>(url), 3));
    ASSERT_EQ(sound.size(), 2U * 3 * kRate);
    std::size_t quiet = 0;
    for (const float sample : sound) {
        ASSERT_LE(std::abs(sample), 1);
        quiet += sample == 0 ? 1 : 0;
    }
    EXPECT_GT(quiet, 2U * 1024);
    EXPECT_LT(quiet, sound.size() / 4);
    ASSERT_EQ(log.size(), 1U);
    EXPECT_THAT(log.front(), HasSubstr("recording.mov"));
    std::vector<float> expected;
    for (std::int64_t i = 130'000; i < 134'000; ++i) expected.push_back(noise(i, 0));
    EXPECT_EQ(test::lagOf(channelOf(sound, 0), 130'000, expected, 3000), 0) << "behind the damage";
}

TEST(AudioMixReader, GoesOnWhenTheFormChangesInsideAFile) {
    const TemporaryDirectory directory;
    const URL url = directory.file("both.mov");
    test::writeSound(url, {{{"libmp3lame", 44'100, 1}, 0, 1, tone(1'000, 0.25)},
                           {{"libmp3lame", 48'000, 2}, 1.1, 2, tone(2'000, 0.25)}});
    const auto sound = channelOf(mixed(wholeOf(std::make_shared<const MediaAsset>(url), 2)), 1);
    for (const auto& [begin, frequency] : {std::pair{std::size_t{8'000}, 1'000}, {60'000, 2'000}}) {
        const auto fit = fitTone(sound, begin, begin + 30'000, frequency);
        EXPECT_NEAR(fit.amplitude, 0.24, 0.015) << frequency;
        EXPECT_NEAR(fit.delaySamples, 0, 1) << frequency;
    }
}

TEST(AudioMixReader, SaysWhyItCantReadAndEndsWhenItIsCancelled) {
    const TemporaryDirectory directory;
    const URL url = directory.file("noise.mov");
    const auto asset = soundFile(url, {"pcm_f32le", kRate, 2}, 4, noiseWaveform());
    const auto later = soundFile(directory.file("later.mov"), {"pcm_f32le", kRate, 2}, 1, noiseWaveform());
    const auto composition = wholeOf(asset, 4);
    AudioMixReader reader(composition, {});
    ASSERT_TRUE(reader.startReading());
    EXPECT_FALSE(reader.startReading());
    ASSERT_TRUE(reader.copyNextSampleBuffer());
    reader.cancelReading();
    EXPECT_FALSE(reader.copyNextSampleBuffer());
    EXPECT_EQ(reader.status(), TransferStatus::cancelled);

    // A source that goes before its turn: what stands in front of it is delivered.
    const auto two = wholeOf(asset, 1);
    const_cast<CompositionTrack*>(two->track(1))
        ->insertTimeRange({kCMTimeZero, CMTime::make(1, 1)}, later, later->tracks().front(),
                          CMTime::make(1, 1));
    AudioMixReader failing(two, {});
    std::filesystem::remove(later->url().path());
    ASSERT_TRUE(failing.startReading());
    EXPECT_GT(test::readAll(failing).size(), 2U * kRate - 4'096);
    EXPECT_EQ(failing.status(), TransferStatus::failed);
    EXPECT_THAT(test::errorText(failing.error()), HasSubstr("later.mov"));

    const auto scaled = wholeOf(asset, 1);
    const_cast<CompositionTrack*>(scaled->track(1))
        ->scaleTimeRange({kCMTimeZero, CMTime::make(1, 1)}, CMTime::make(2, 1));
    EXPECT_THROW(AudioMixReader(scaled, {}), MediaError);
    std::filesystem::remove(url.path());
    EXPECT_THROW(AudioMixReader(composition, {}), MediaError);
}

}  // namespace
}  // namespace varnelle
