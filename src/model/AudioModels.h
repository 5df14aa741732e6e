#pragma once

#include <map>
#include <optional>
#include <string_view>
#include <vector>

namespace varnelle {

/// Sound that a recording can hold, in the order of its tracks in the screen movie.
enum class RecordedAudioSource { system, microphone };

std::string_view rawString(RecordedAudioSource source);
std::optional<RecordedAudioSource> recordedAudioSource(std::string_view rawString);

/// What the project plays and exports.
struct AudioConfiguration {
    bool includesSystemSound = false;
    bool includesMicrophone = false;
    bool operator==(const AudioConfiguration&) const = default;

    /// Everything that was recorded.
    static AudioConfiguration including(const std::vector<RecordedAudioSource>& sources);
};

/// Which track of a composition carries which recorded source. Track ids are the composition's.
struct AudioTrackRouting {
    std::map<RecordedAudioSource, int> trackIDsBySource;
    std::vector<int> otherTrackIDs;
    bool operator==(const AudioTrackRouting&) const = default;

    /// Pairs tracks and sources in order; tracks without a partner become others.
    static AudioTrackRouting pairing(const std::vector<int>& trackIDs,
                                     const std::vector<RecordedAudioSource>& sources);
};

}  // namespace varnelle
