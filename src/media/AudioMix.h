#pragma once

#include <algorithm>
#include <vector>

#include "media/Composition.h"

namespace varnelle {

/// How loud one track of a composition is, from its start on.
struct AudioMixInputParameters {
    TrackID trackID = kInvalidTrackID;
    float volume = 1;
    bool operator==(const AudioMixInputParameters&) const = default;
};

/// How the sound tracks of a composition are mixed.
struct AudioMix {
    std::vector<AudioMixInputParameters> inputParameters;
    bool operator==(const AudioMix&) const = default;

    /// A track that isn't named plays as it is.
    [[nodiscard]] float volume(TrackID track) const {
        const auto found = std::find_if(inputParameters.begin(), inputParameters.end(),
                                        [track](const auto& input) { return input.trackID == track; });
        return found == inputParameters.end() ? 1 : found->volume;
    }
};

}  // namespace varnelle
