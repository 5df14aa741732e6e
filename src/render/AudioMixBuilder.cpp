#include "render/AudioMixBuilder.h"

namespace varnelle {

AudioMix audioMix(const AudioTrackRouting& routing, const AudioConfiguration& configuration,
                  float otherVolume) {
    AudioMix mix;
    const auto add = [&](RecordedAudioSource source, bool isIncluded) {
        const auto track = routing.trackIDsBySource.find(source);
        if (track != routing.trackIDsBySource.end())
            mix.inputParameters.push_back({track->second, isIncluded ? 1.0F : 0.0F});
    };
    add(RecordedAudioSource::system, configuration.includesSystemSound);
    add(RecordedAudioSource::microphone, configuration.includesMicrophone);
    for (const TrackID track : routing.otherTrackIDs) mix.inputParameters.push_back({track, otherVolume});
    return mix;
}

}  // namespace varnelle
