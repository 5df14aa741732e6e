#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "media/AudioMix.h"
#include "media/Composition.h"
#include "media/detail/PeakLimiter.h"
#include "media/detail/SoundTrackReader.h"

namespace varnelle::detail {

/// Mixes the sound of a composition from any place on, with volumes that may change while it goes on; a
/// change takes one block. A track that can't be read is logged and mute. For one thread at a time.
class LiveMixer {
public:
    /// Sources are opened when they are heard for the first time.
    explicit LiveMixer(std::shared_ptr<const Composition> composition);

    /// Samples of the mix's grid up to the composition's end.
    [[nodiscard]] std::int64_t frameCount() const { return frameCount_; }
    void setMix(const AudioMix& mix);
    /// The next block begins here, with the volumes as they are wanted by now.
    void seek(std::int64_t position);
    /// Appends the next block, interleaved, if there is any left: some of it comes with the block after it.
    void mixBlock(std::vector<float>& output);
    [[nodiscard]] bool isAtEnd() const { return position_ >= frameCount_; }

private:
    struct Track {
        const CompositionTrack* track;
        std::unique_ptr<SoundTrackReader> reader;
        float volume = 0;  ///< at the end of the last block
        float wantedVolume = 1;
        bool isBroken = false;
    };

    void add(Track& track, std::int64_t count);

    const std::shared_ptr<const Composition> composition_;
    const std::int64_t frameCount_;
    std::vector<Track> tracks_;
    std::int64_t position_ = 0;
    PeakLimiter limiter_;
    std::vector<float> mixed_;
    std::vector<float> ramped_;
};

}  // namespace varnelle::detail
