#pragma once

#include "media/AudioMix.h"
#include "model/AudioModels.h"

namespace varnelle {

/// What each routed track of a composition contributes to the sound: recorded sources are on or off as the
/// project says, system sound before the microphone; then the tracks of no known source, at `otherVolume`.
/// A source that is off keeps its track and is mute, so that switching it needs no new composition.
[[nodiscard]] AudioMix audioMix(const AudioTrackRouting& routing, const AudioConfiguration& configuration,
                                float otherVolume);

}  // namespace varnelle
