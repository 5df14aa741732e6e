#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "media/Composition.h"
#include "media/detail/SoundSource.h"

namespace varnelle::detail {

/// A stretch of a track in which one source runs on without a cut that could be heard. Places are on the
/// grid of the mix.
struct SoundRun {
    std::shared_ptr<const MediaAsset> asset;
    MediaTrack sourceTrack;
    CMTime sourceOffset;  ///< source time less track time
    std::int64_t begin = 0;
    std::int64_t end = 0;
    std::int64_t sourceBegin = 0;
    bool fadesIn = false;
    bool fadesOut = false;

    /// What a sample of the run is multiplied by: less than 1 only near an end that fades.
    [[nodiscard]] float gain(std::int64_t position) const;
};

/// The runs of a sound track in order. Segments that go on in the source where the one before ended are one
/// run. All ends fade but those at which the whole source begins or ends the track. Throws `MediaError`
/// (`cannotDecode`) for a segment that is played faster or slower.
std::vector<SoundRun> soundRuns(const CompositionTrack& track);

/// Reads what a sound track of a composition plays. For one thread at a time.
class SoundTrackReader {
public:
    /// Opens the first source. Throws `MediaError`.
    explicit SoundTrackReader(const CompositionTrack& track);

    /// Adds the sound from a place of the grid on to an interleaved mix.
    void addTo(std::span<float> mix, std::int64_t position, float volume);

private:
    void openSource(const SoundRun& run);

    std::vector<SoundRun> runs_;
    std::size_t current_ = 0;
    std::optional<SoundSource> source_;
    std::vector<float> buffer_;
};

}  // namespace varnelle::detail
