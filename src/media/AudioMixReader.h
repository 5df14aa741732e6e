#pragma once

#include <exception>
#include <memory>
#include <optional>

#include "media/AssetReader.h"
#include "media/AudioMix.h"
#include "media/Composition.h"
#include "media/SampleBuffer.h"

namespace varnelle {

/// Reads the sound of a composition: all its sound tracks, mixed, as blocks of stereo at 48,000 Hz from zero
/// to the composition's end, without a hole.
///
/// Moments of the composition and of the sources are rounded to samples of that rate, each by itself, so
/// that nothing drifts however many cuts there are. At a cut the sound fades out and in over 4 ms each,
/// except where the source goes on: that cut can't be heard, nor seen in the samples. Where a source has no
/// sound or its sound is damaged there is silence. Where the tracks together exceed full scale, the mix is
/// turned down around that place; everything else passes as it is.
///
/// A thread of its own decodes and mixes ahead, bounded; tracks of volume 0 aren't decoded.
/// `copyNextSampleBuffer` is for one thread at a time; `cancelReading` may be called on any thread.
class AudioMixReader {
public:
    /// Opens the first source of each track. Throws `MediaError`, also for a composition whose sound is
    /// played faster or slower, which isn't supported.
    AudioMixReader(std::shared_ptr<const Composition> composition, const AudioMix& mix);
    ~AudioMixReader();
    AudioMixReader(const AudioMixReader&) = delete;
    AudioMixReader& operator=(const AudioMixReader&) = delete;

    /// Starts mixing ahead. False if it was started or cancelled before.
    [[nodiscard]] bool startReading();
    /// The next block with its presentation time and duration; waits for it. Absent at the end, after a
    /// failure and after `cancelReading`: `status()` tells which.
    [[nodiscard]] std::optional<SampleBuffer> copyNextSampleBuffer();
    /// Stops reading; a waiting `copyNextSampleBuffer` returns nothing. Doesn't wait.
    void cancelReading();

    [[nodiscard]] TransferStatus status() const;
    /// Why reading failed, or null.
    [[nodiscard]] std::exception_ptr error() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace varnelle
