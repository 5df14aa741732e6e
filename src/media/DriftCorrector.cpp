#include "media/DriftCorrector.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <memory>
#include <numbers>
#include <utility>

namespace varnelle {
namespace {

/// The loop follows quickly at first, to find the device's speed, and then calmly, to let no jitter through.
constexpr double kFirstBandwidth = 1.0;   // Hz
constexpr double kCalmBandwidth = 0.05;   // Hz
constexpr double kCalmingSeconds = 0.5;   ///< the bandwidth falls as this over the time that has passed
constexpr double kMaximumLoopStep = 0.3;  ///< beyond this, long blocks would make the loop swing

/// Devices are off by some ten millionths, bad ones by a few hundred.
constexpr double kMaximumDeviation = 1000e-6;
/// How fast what is left between the sound and the clock is caught up with.
constexpr double kCatchUpSeconds = 2.0;
constexpr double kMaximumCatchUp = 500e-6;

/// A block that is off by this much is a gap or an overlap ...
constexpr double kJumpSeconds = 0.05;
/// ... and so are several in a row that are off by this much: less than a lost cycle, more than jitter.
constexpr double kStraySeconds = 0.008;
constexpr int kMaximumStrayBlocks = 3;

constexpr double kNanosecondsPerSecond = 1e9;

/// The modified Bessel function of order zero, by its power series. The standard library's takes so long that
/// building the table below would be felt.
double besselI0(double x) {
    double sum = 1;
    double term = 1;
    for (int k = 1; term > sum * 1e-12; ++k) {
        term *= x * x / (4.0 * k * k);
        sum += term;
    }
    return sum;
}

/// Values of a band-limited signal between its samples: a sinc under a Kaiser window, flat to 20.8 kHz and
/// 100 dB down from 24 kHz on, tabulated for 512 places between two samples and linear in between.
class InterpolationKernel {
public:
    static constexpr int kTaps = 96;
    static constexpr int kHalf = kTaps / 2;

    InterpolationKernel() {
        constexpr double cutoff = 22'400.0 / 24'000.0;
        constexpr double beta = 10.06;
        for (int phase = 0; phase <= kPhases; ++phase) {
            double sum = 0;
            std::array<double, kTaps> taps{};
            for (int tap = 0; tap < kTaps; ++tap) {
                const double distance = tap - (kHalf - 1) - static_cast<double>(phase) / kPhases;
                const double x = std::numbers::pi * distance * cutoff;
                const double sinc = std::abs(x) < 1e-12 ? 1.0 : std::sin(x) / x;
                const double edge = std::clamp(distance / kHalf, -1.0, 1.0);
                const double window = besselI0(beta * std::sqrt(1 - edge * edge));
                taps[static_cast<std::size_t>(tap)] = sinc * window;
                sum += sinc * window;
            }
            for (int tap = 0; tap < kTaps; ++tap) {
                row(phase)[tap] = static_cast<float>(taps[static_cast<std::size_t>(tap)] / sum);
            }
        }
    }

    /// The weights of the `kTaps` frames from `kHalf - 1` before the place on.
    void weightsAt(double fraction, std::array<float, kTaps>& weights) const {
        const double place = fraction * kPhases;
        const int phase = std::min(static_cast<int>(place), kPhases - 1);
        const auto blend = static_cast<float>(place - phase);
        const float* const a = row(phase);
        const float* const b = row(phase + 1);
        for (std::size_t tap = 0; tap < kTaps; ++tap) weights[tap] = a[tap] + blend * (b[tap] - a[tap]);
    }

private:
    static constexpr int kPhases = 512;

    float* row(int phase) { return table_.data() + static_cast<std::ptrdiff_t>(phase) * kTaps; }
    [[nodiscard]] const float* row(int phase) const {
        return table_.data() + static_cast<std::ptrdiff_t>(phase) * kTaps;
    }

    std::vector<float> table_ = std::vector<float>(static_cast<std::size_t>(kPhases + 1) * kTaps);
};

const InterpolationKernel& kernel() {
    static const InterpolationKernel instance;
    return instance;
}

}  // namespace

DriftCorrector::DriftCorrector(int channelCount) : channels_(static_cast<std::size_t>(channelCount)) {
    assert(channelCount > 0);
    // Built here rather than with the first sound, which must not wait.
    (void)kernel();
}

std::vector<SampleBuffer> DriftCorrector::process(std::span<const float> samples,
                                                  std::int64_t hostNanoseconds) {
    std::vector<SampleBuffer> result;
    const std::size_t frameCount = samples.size() / channels_;
    if (frameCount == 0) return result;
    if (!isRunning_) {
        const auto second = static_cast<std::int64_t>(kNanosecondsPerSecond);
        epoch_ = hostNanoseconds / second * second;
        epochFrames_ = hostNanoseconds / second * kRate;
    }
    const double time = static_cast<double>(hostNanoseconds - epoch_) / kNanosecondsPerSecond;
    const double deviation = time - nextBlockTime_;
    strayBlocks_ = std::abs(deviation) > kStraySeconds ? strayBlocks_ + 1 : 0;
    const bool isJump = std::abs(deviation) > kJumpSeconds || strayBlocks_ > kMaximumStrayBlocks;
    if (isRunning_ && isJump) {
        ++discontinuityCount_;
        // What is still held back ends where the sound ended.
        std::vector<float> tail;
        const auto end = static_cast<double>(inputFrameCount());
        input_.resize(input_.size() + InterpolationKernel::kHalf * channels_, 0.0F);
        interpolate(end, tail);
        emit(std::move(tail), result);
    }
    if (!isRunning_ || isJump) startRun(time);
    noteTime(time, frameCount);
    updateSpeed();
    input_.insert(input_.end(), samples.begin(), samples.end());
    std::vector<float> output;
    interpolate(static_cast<double>(inputFrameCount()) - InterpolationKernel::kHalf, output);
    emit(std::move(output), result);
    dropUsedInput();
    return result;
}

double DriftCorrector::deviation() const {
    return 1 / (framePeriod_ * kRate) - 1;
}

/// The next frame that comes in was heard at `time`. What is known of the device's speed still holds.
void DriftCorrector::startRun(double time) {
    isRunning_ = true;
    nextBlockTime_ = time;
    runTime_ = 0;
    strayBlocks_ = 0;
    // Silence in front, so that the first frames can be interpolated too.
    input_.assign(InterpolationKernel::kHalf * channels_, 0.0F);
    nextOutput_ = std::max(nextOutput_, static_cast<std::int64_t>(std::ceil(time * kRate)));
    const double wait = static_cast<double>(nextOutput_) / kRate - time;
    position_ = InterpolationKernel::kHalf + wait / framePeriod_;
}

void DriftCorrector::noteTime(double time, std::size_t frameCount) {
    const double blockSeconds = static_cast<double>(frameCount) / kRate;
    anchorPosition_ = static_cast<double>(inputFrameCount());
    anchorTime_ = nextBlockTime_;
    if (strayBlocks_ == 0) {
        const double bandwidth =
            std::clamp(kFirstBandwidth * kCalmingSeconds / std::max(runTime_, kCalmingSeconds),
                       kCalmBandwidth, kFirstBandwidth);
        const double step = std::min(2 * std::numbers::pi * bandwidth * blockSeconds, kMaximumLoopStep);
        const double error = time - nextBlockTime_;
        anchorTime_ += std::numbers::sqrt2 * step * error;
        framePeriod_ += step * step * error / static_cast<double>(frameCount);
        framePeriod_ = std::clamp(framePeriod_ * kRate, 1 - kMaximumDeviation, 1 + kMaximumDeviation) / kRate;
    }
    nextBlockTime_ = anchorTime_ + static_cast<double>(frameCount) * framePeriod_;
    runTime_ += blockSeconds;
}

/// Runs at the device's speed and a little faster or slower, to be where the clock wants it.
void DriftCorrector::updateSpeed() {
    const double wantedTime = static_cast<double>(nextOutput_) / kRate;
    const double wantedPosition = anchorPosition_ + (wantedTime - anchorTime_) / framePeriod_;
    const double catchUp = std::clamp((wantedPosition - position_) / (kCatchUpSeconds * kRate),
                                      -kMaximumCatchUp, kMaximumCatchUp);
    step_ = 1 / (framePeriod_ * kRate) + catchUp;
}

void DriftCorrector::interpolate(double endPosition, std::vector<float>& output) {
    if (position_ >= endPosition) return;
    output.reserve(static_cast<std::size_t>(endPosition - position_ + 2) * channels_);
    for (; position_ < endPosition; position_ += step_) appendFrame(position_, output);
}

void DriftCorrector::appendFrame(double position, std::vector<float>& output) const {
    const auto whole = static_cast<std::size_t>(position);
    std::array<float, InterpolationKernel::kTaps> weights{};
    kernel().weightsAt(position - static_cast<double>(whole), weights);
    const float* const first = input_.data() + (whole - (InterpolationKernel::kHalf - 1)) * channels_;
    for (std::size_t channel = 0; channel < channels_; ++channel) {
        float sum = 0;
        for (std::size_t tap = 0; tap < weights.size(); ++tap) {
            sum += weights[tap] * first[tap * channels_ + channel];
        }
        output.push_back(sum);
    }
}

void DriftCorrector::dropUsedInput() {
    const auto needed = static_cast<std::size_t>(position_) - (InterpolationKernel::kHalf - 1);
    const std::size_t dropped = std::min(needed, inputFrameCount());
    input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(dropped * channels_));
    position_ -= static_cast<double>(dropped);
}

void DriftCorrector::emit(std::vector<float> output, std::vector<SampleBuffer>& samples) {
    if (output.empty()) return;
    const auto frameCount = static_cast<std::int64_t>(output.size() / channels_);
    SampleBuffer sample;
    sample.data = PCMBlock{kRate, static_cast<int>(channels_),
                           std::make_shared<const std::vector<float>>(std::move(output))};
    sample.presentationTime = CMTime::make(epochFrames_ + nextOutput_, kRate);
    sample.duration = CMTime::make(frameCount, kRate);
    nextOutput_ += frameCount;
    samples.push_back(std::move(sample));
}

}  // namespace varnelle
