#pragma once

#include <cstddef>
#include <memory>
#include <span>

namespace varnelle {

/// Plays stereo sound at 48,000 Hz, and by what has been heard keeps the time of everything else that plays.
/// An output without a device keeps time all the same.
///
/// For one caller at a time, except `framesHeard`, which any thread may call. Nothing waits for a device.
class AudioOutput {
public:
    static constexpr int kRate = 48'000;
    static constexpr int kChannels = 2;

    virtual ~AudioOutput() = default;

    /// Takes interleaved samples (full scale at -1 and 1), as many as there is room for, which is between 0.1
    /// and 0.3 s of them. Returns the number of frames taken.
    [[nodiscard]] virtual std::size_t write(std::span<const float> samples) = 0;
    /// Begins to play what has been written, and goes on with what is written later. Where that comes too
    /// late, time stands still.
    virtual void start() = 0;
    /// Falls silent and forgets all of it; the next frame that is written is frame 0 again.
    virtual void reset() = 0;
    /// How many of the frames written since `reset` have reached the ear at this moment. It runs steadily,
    /// never back and never past what was written.
    [[nodiscard]] virtual double framesHeard() const = 0;
};

}  // namespace varnelle
