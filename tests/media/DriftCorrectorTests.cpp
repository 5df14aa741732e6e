#include "media/DriftCorrector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "support/SoundFixtures.h"

namespace varnelle {
namespace {

constexpr double kRate = DriftCorrector::kRate;
constexpr std::int64_t kStart = 987'654'321'123'456;  // host nanoseconds, after some eleven days

/// A device whose clock is off and which plays something that is a function of true time, so that it can be
/// told where each sample that comes out belongs.
class SimulatedDevice {
public:
    SimulatedDevice(double deviation, double jitterSeconds, double frequency)
        : deviation_(deviation), jitter_(jitterSeconds), frequency_(frequency) {}

    /// The true time of the n-th sample since the start, in seconds.
    [[nodiscard]] double trueTime(double sample) const { return sample / (kRate * (1 + deviation_)) + shift; }
    [[nodiscard]] double value(double seconds) const {
        return 0.5 * std::sin(2 * std::numbers::pi * frequency_ * seconds);
    }

    std::vector<SampleBuffer> nextBlock(DriftCorrector& corrector, std::size_t frames) {
        std::vector<float> samples(frames);
        for (std::size_t i = 0; i < frames && frequency_ > 0; ++i) {
            samples[i] = static_cast<float>(value(trueTime(static_cast<double>(position + i))));
        }
        const double measured = trueTime(static_cast<double>(position)) + jitter_ * noise_(random_);
        position += frames;
        return corrector.process(samples, kStart + std::llround(measured * 1e9));
    }

    std::size_t position = 0;
    double shift = 0;  ///< seconds by which a gap has put everything off

private:
    double deviation_;
    double jitter_;
    double frequency_;
    std::mt19937 random_{1};
    std::normal_distribution<double> noise_;
};

/// Where a sample belongs, in seconds since the simulation's start.
double secondsOf(const SampleBuffer& sample, std::size_t frame) {
    const std::int64_t ticks = sample.presentationTime.value + static_cast<std::int64_t>(frame);
    // In whole nanoseconds first: the difference is small, the times aren't.
    const std::int64_t startSeconds = kStart / 1'000'000'000;
    return static_cast<double>(ticks - startSeconds * DriftCorrector::kRate) / kRate -
           static_cast<double>(kStart % 1'000'000'000) / 1e9;
}

struct Residual {
    double worstSeconds = 0;        ///< the largest delay or lead of a stretch of the sound
    double residueDecibels = -200;  ///< the loudest that a stretch has beside the tone
};

/// Follows a tone of 1 kHz for a while, and looks at stretches of a tenth of a second after `settled`.
Residual follow(double deviation, double jitterSeconds, double seconds, double settled,
                double frequency = 1000) {
    SimulatedDevice device(deviation, jitterSeconds, frequency);
    DriftCorrector corrector(1);
    Residual residual;
    std::optional<std::int64_t> next;
    std::vector<float> stretch;
    double stretchBegin = 0;
    while (device.trueTime(static_cast<double>(device.position)) < seconds) {
        for (const SampleBuffer& sample : device.nextBlock(corrector, 1024)) {
            const auto& samples = *sample.pcm()->samples;
            EXPECT_EQ(sample.presentationTime.value, next.value_or(sample.presentationTime.value))
                << "without a hole";
            next = sample.presentationTime.value + static_cast<std::int64_t>(samples.size());
            if (secondsOf(sample, 0) < settled) continue;
            if (stretch.empty()) stretchBegin = secondsOf(sample, 0);
            stretch.insert(stretch.end(), samples.begin(), samples.end());
        }
        if (stretch.size() < 4800) continue;
        const test::ToneFit fit = test::fitTone(stretch, 0, 4800, frequency);
        const double period = kRate / frequency;
        const double wanted = -std::fmod(stretchBegin * kRate, period);
        const double error = std::remainder(fit.delaySamples - wanted, period) / kRate;
        residual.worstSeconds = std::max(residual.worstSeconds, std::abs(error));
        residual.residueDecibels = std::max(residual.residueDecibels, fit.residueDecibels);
        EXPECT_NEAR(fit.amplitude, 0.5, 0.001);
        stretch.clear();
    }
    EXPECT_EQ(corrector.discontinuityCount(), 0);
    EXPECT_NEAR(corrector.deviation(), deviation, 20e-6);
    return residual;
}

/// Sanitizers take minutes for an hour of sound and find in two of them what there is to find.
#ifdef __SANITIZE_ADDRESS__
constexpr double kLongestRecording = 120;
#else
constexpr double kLongestRecording = 3600;
#endif

TEST(DriftCorrector, KeepsSoundInPlaceWhateverTheDevicesClockDoes) {
    struct Case {
        double deviation;
        double jitter;
        double seconds;
        double settled;
        double frequency;
        double worst;
        double residue;
    };
    // With jitter the pitch wavers by a few millionths, which shows beside a tone of exactly one frequency.
    for (const Case& each : {
             Case{0, 0, 20, 0.1, 1000, 1e-6, -120},
             Case{200e-6, 0, 600, 30, 1000, 1e-6, -110},
             Case{-200e-6, 0, 60, 30, 15'000, 1e-6, -85},
             Case{200e-6, 300e-6, 300, 60, 1000, 100e-6, -40},
             Case{-200e-6, 1e-3, 300, 60, 1000, 300e-6, -32},
         }) {
        const double seconds = std::min(each.seconds, kLongestRecording);
        const Residual residual = follow(each.deviation, each.jitter, seconds, each.settled, each.frequency);
        std::printf("%+.0f ppm, jitter %.0f us, %.0f s: at most %.1f us off, residue %.1f dB\n",
                    each.deviation * 1e6, each.jitter * 1e6, seconds, residual.worstSeconds * 1e6,
                    residual.residueDecibels);
        EXPECT_LT(residual.worstSeconds, each.worst);
        EXPECT_LT(residual.residueDecibels, each.residue);
    }
}

TEST(DriftCorrector, IsInPlaceFromTheStartAndStaysThereForAnHour) {
    // The speed isn't known at first: until it is, the sound may be off by a little.
    EXPECT_LT(follow(200e-6, 100e-6, 20, 0.1).worstSeconds, 1e-3);
    SimulatedDevice device(150e-6, 50e-6, 0);
    DriftCorrector corrector(1);
    std::int64_t frames = 0;
    std::int64_t first = 0;
    while (device.trueTime(static_cast<double>(device.position)) < kLongestRecording) {
        for (const SampleBuffer& sample : device.nextBlock(corrector, 8192)) {
            if (frames == 0) first = sample.presentationTime.value;
            EXPECT_EQ(sample.presentationTime.value, first + frames);
            frames += static_cast<std::int64_t>(sample.pcm()->frameCount());
        }
    }
    const double elapsed = device.trueTime(static_cast<double>(device.position));
    // What is held back to interpolate is all that may be missing.
    EXPECT_NEAR(static_cast<double>(frames), elapsed * kRate, 60);
}

TEST(DriftCorrector, GapsAndOverlapsKeepWhatFollowsInPlace) {
    SimulatedDevice device(100e-6, 0, 100);
    DriftCorrector corrector(1);
    std::vector<SampleBuffer> samples;
    const auto run = [&](double seconds) {
        const auto end = device.position + static_cast<std::size_t>(seconds * kRate);
        while (device.position < end) {
            for (auto& sample : device.nextBlock(corrector, 480)) samples.push_back(std::move(sample));
        }
    };
    run(20);
    const double gapBegin = device.trueTime(static_cast<double>(device.position));
    device.shift += 2.5;  // lost for a while
    run(20);
    device.shift += 0.02;  // a few lost cycles, less than what is certain at once
    run(20);
    device.shift -= 0.3;  // what came before is delivered once more
    run(20);
    EXPECT_EQ(corrector.discontinuityCount(), 3);
    std::int64_t next = samples.front().presentationTime.value;
    std::vector<std::pair<double, double>> gaps;
    double worst = 0;
    for (const SampleBuffer& sample : samples) {
        const std::int64_t begin = sample.presentationTime.value;
        ASSERT_GE(begin, next) << "nothing is told twice";
        if (begin > next) gaps.emplace_back(secondsOf(sample, 0), static_cast<double>(begin - next) / kRate);
        next = begin + static_cast<std::int64_t>(sample.pcm()->frameCount());
        for (std::size_t i = 0; i < sample.pcm()->frameCount(); i += 16) {
            const double time = secondsOf(sample, i);
            const bool isAtAnEdge = sample.pcm()->frameCount() - i < 64 || i < 64;
            // The second gap is noticed after some blocks only.
            if (isAtAnEdge || (time > 42.5 && time < 43)) continue;
            worst = std::max(worst, std::abs((*sample.pcm()->samples)[i] - device.value(time)));
        }
    }
    ASSERT_EQ(gaps.size(), 2U);
    EXPECT_NEAR(gaps[0].first, gapBegin + 2.5, 1e-4);
    EXPECT_NEAR(gaps[0].second, 2.5, 1e-4);
    EXPECT_NEAR(gaps[1].second, 0.02, 1e-4);
    // Full scale of the device is 0.5; 1 us of a tone of 100 Hz is 0.0003.
    EXPECT_LT(worst, 0.02);
}

TEST(DriftCorrector, ChannelsStayApartAndEmptyBlocksChangeNothing) {
    DriftCorrector corrector(2);
    std::vector<float> block(2 * 512);
    std::vector<float> left, right;
    for (std::int64_t n = 0; n < 100; ++n) {
        for (std::size_t i = 0; i < 512; ++i) {
            block[2 * i] = 0.25F;
            block[2 * i + 1] = -0.5F;
        }
        EXPECT_TRUE(corrector.process({}, kStart).empty());
        for (const SampleBuffer& sample :
             corrector.process(block, kStart + n * 512 * 1'000'000'000 / DriftCorrector::kRate)) {
            EXPECT_EQ(sample.pcm()->channelCount, 2);
            for (std::size_t i = 0; i < sample.pcm()->frameCount(); ++i) {
                left.push_back((*sample.pcm()->samples)[2 * i]);
                right.push_back((*sample.pcm()->samples)[2 * i + 1]);
            }
        }
    }
    ASSERT_GT(left.size(), 50'000U);
    for (std::size_t i = 100; i < left.size(); ++i) {
        ASSERT_NEAR(left[i], 0.25, 1e-5);
        ASSERT_NEAR(right[i], -0.5, 1e-5);
    }
}

}  // namespace
}  // namespace varnelle
