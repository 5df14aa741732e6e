#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "media/SampleBuffer.h"

namespace varnelle {

/// Brings captured sound to the host clock: sample n that comes out was heard at exactly n / 48,000 s of that
/// clock, however fast or slow the clock of the device runs, so that a long recording stays beside its
/// picture.
///
/// The measured times of the blocks are smoothed by a delay-locked loop (F. Adriaensen, "Using a DLL to
/// filter time", 2005), and the sound is resampled along the smoothed line by band-limited interpolation. The
/// speed changes by less than 0.1 %, and only slowly, which can't be heard. Where sound is missing, the times
/// of what comes out leave a gap of the same length; where blocks overlap what came before, the surplus is
/// cut off. It lives here and not with a desktop's streams since every desktop needs the same. For one
/// thread.
class DriftCorrector {
public:
    static constexpr int kRate = 48'000;

    explicit DriftCorrector(int channelCount);

    /// Takes the next interleaved frames of nominally 48,000 Hz, of which the first was heard at the given
    /// host time, as measured. Returns what has become complete, about a millisecond less than was given;
    /// two samples where a gap ends the sound before it. Their times have a timescale of 48,000.
    [[nodiscard]] std::vector<SampleBuffer> process(std::span<const float> samples,
                                                    std::int64_t hostNanoseconds);

    /// By how much the device's clock is fast against the host clock, as a fraction, as far as it is known.
    [[nodiscard]] double deviation() const;
    /// How many gaps and overlaps there have been.
    [[nodiscard]] int discontinuityCount() const { return discontinuityCount_; }

private:
    void startRun(double time);
    void noteTime(double time, std::size_t frameCount);
    void updateSpeed();
    void interpolate(double endPosition, std::vector<float>& output);
    void appendFrame(double position, std::vector<float>& output) const;
    void dropUsedInput();
    void emit(std::vector<float> output, std::vector<SampleBuffer>& samples);
    [[nodiscard]] std::size_t inputFrameCount() const { return input_.size() / channels_; }

    const std::size_t channels_;
    std::int64_t epoch_ = 0;  ///< host nanoseconds that the times below are counted from, in seconds

    // The delay-locked loop.
    bool isRunning_ = false;
    double nextBlockTime_ = 0;  ///< when the next frame that comes in should have been heard
    double framePeriod_ = 1.0 / kRate;
    double runTime_ = 0;  ///< how long the loop has been following
    int strayBlocks_ = 0;
    int discontinuityCount_ = 0;

    // The resampler. Positions are in frames of `input_`.
    std::vector<float> input_;
    double position_ = 0;  ///< of the next frame that comes out
    double step_ = 1;      ///< frames of input for one of output
    std::int64_t nextOutput_ =
        0;  ///< its place on the grid of the host clock, which begins at `epochFrames_`
    std::int64_t epochFrames_ = 0;
    double anchorTime_ = 0;      ///< smoothed time of ...
    double anchorPosition_ = 0;  ///< ... this frame of `input_`
};

}  // namespace varnelle
