#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "media/AssetWriter.h"
#include "media/MediaAsset.h"
#include "support/MediaFixtures.h"
#include "support/SoundFixtures.h"
#include "support/SoundProbe.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

using test::appendWaiting;
using test::audioSample;
using test::finishAndWait;
using test::TemporaryDirectory;

/// A quiet tone with loud clicks of half a millisecond around the given times.
std::vector<float> toneWithClicks(double startSeconds, double seconds, int rate, int channels,
                                  const std::vector<double>& clicks) {
    std::vector<float> samples;
    const auto frames = static_cast<int>(std::lround(seconds * rate));
    for (int i = 0; i < frames; ++i) {
        const double time = startSeconds + double(i) / rate;
        double value = 0.05 * std::sin(2 * std::numbers::pi * 440 * time);
        for (const double click : clicks) {
            const double distance = std::abs(time - click);
            if (distance < 0.00025) value = 0.9 * std::cos(distance * std::numbers::pi / 0.0005);
        }
        for (int c = 0; c < channels; ++c) samples.push_back(static_cast<float>(value));
    }
    return samples;
}

struct SoundCase {
    const char* name;
    FileType type;
    bool survives;
    int inputRate;
    int inputChannels;
    double startSeconds;
    int trackChannels = 2;
};

class Sound : public testing::TestWithParam<SoundCase> {};

TEST_P(Sound, StaysWhereItsTimesSayThroughJitterGapsAndOverlaps) {
    const SoundCase& test = GetParam();
    const TemporaryDirectory directory;
    const URL url = directory.file("sound.mov");
    AssetWriter writer(url, test.type, {.survivesTermination = test.survives});
    AssetWriterInput* video = writer.addVideoInput(test::smallVideo(64, 64));
    AssetWriterInput* sound = writer.addAudioInput({48000, test.trackChannels, 192000});
    ASSERT_TRUE(writer.startWriting());
    writer.startSession(kCMTimeZero);
    ASSERT_TRUE(appendWaiting(*video, test::videoSample(test::numberedPicture(64, 64, 0), kCMTimeZero)));

    const std::vector<double> clicks = {0.5, 0.75, 1.5, 2.4};
    constexpr double block = 0.01;
    for (int i = 0; i < 250; ++i) {
        const double time = i * block;
        if (time < test.startSeconds) continue;
        if (time > 0.9 && time < 1.3) continue;  // the device was away
        // The clock of the source jitters by up to 3 ms.
        const double stamp = i == 0 ? 0 : time + 0.003 * std::sin(i * 1.7);
        const std::vector<float> samples =
            toneWithClicks(time, block, test.inputRate, test.inputChannels, clicks);
        ASSERT_TRUE(appendWaiting(*sound, audioSample(test.inputRate, test.inputChannels, samples,
                                                      CMTime::fromSeconds(stamp, 1'000'000'000))));
        // What was delivered twice is heard once.
        if (i == 160) {
            const CMTime again = CMTime::fromSeconds(stamp + 0.0001, 1'000'000'000);
            const std::vector<float> doubled(samples.size() * 3, 0.05F);
            ASSERT_TRUE(
                appendWaiting(*sound, audioSample(test.inputRate, test.inputChannels, doubled, again)));
        }
    }
    ASSERT_EQ(finishAndWait(writer), TransferStatus::completed) << test::errorText(writer.error());

    const MediaAsset asset(url);
    ASSERT_EQ(asset.tracks().size(), 2U);
    EXPECT_EQ(asset.tracks()[1].mediaType, MediaType::audio);
    EXPECT_EQ(asset.tracks()[1].sampleRate, 48000);
    EXPECT_EQ(asset.tracks()[1].channelCount, test.trackChannels);
    EXPECT_EQ(asset.tracks()[0].sampleIndex->front().presentationTime, kCMTimeZero);
    EXPECT_NEAR(asset.tracks()[1].duration.seconds(), 2.5, 0.04);
    const std::vector<float> decoded = test::decodeSound(url, 0);
    std::vector<double> found;
    for (const std::size_t place : test::findClicks(decoded, 0.35F)) found.push_back(double(place) / 48000);
    ASSERT_EQ(found.size(), clicks.size());
    const auto fit = test::fitTone(decoded, 48000 * 35 / 100, 48000 * 48 / 100, 440);
    EXPECT_NEAR(fit.amplitude, 0.05, 0.002) << "the level stays, whatever becomes of the channels";
    // Behind a jittered start the offset of the first block stays; without jitter there a millisecond holds.
    const double tolerance = 0.001 + 0.003;
    EXPECT_NEAR(found[0], clicks[0], test.startSeconds == 0 ? 0.001 : tolerance);
    EXPECT_NEAR(found[1], clicks[1], test.startSeconds == 0 ? 0.001 : tolerance);
    EXPECT_NEAR(found[2], clicks[2], tolerance);
    EXPECT_NEAR(found[3], clicks[3], 0.02);
    double energy = 0;
    for (std::size_t i = 48000 * 95 / 100; i < 48000 * 125 / 100; ++i)
        energy += std::abs(double(decoded.at(i)));
    EXPECT_LT(energy / (0.3 * 48000), 0.002);
}

INSTANTIATE_TEST_SUITE_P(
    All, Sound,
    testing::Values(SoundCase{"mp4", FileType::mpeg4, false, 48000, 2, 0},
                    SoundCase{"monoToStereo", FileType::quickTimeMovie, false, 48000, 1, 0},
                    SoundCase{"stereoToMono", FileType::quickTimeMovie, false, 48000, 2, 0, 1},
                    SoundCase{"resampled", FileType::quickTimeMovie, false, 44100, 2, 0},
                    SoundCase{"surviving", FileType::quickTimeMovie, true, 48000, 2, 0},
                    SoundCase{"survivingLate", FileType::quickTimeMovie, true, 48000, 2, 0.3},
                    SoundCase{"late", FileType::mpeg4, false, 48000, 2, 0.3}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace varnelle
