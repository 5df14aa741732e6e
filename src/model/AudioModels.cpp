#include "model/AudioModels.h"

#include <algorithm>

namespace varnelle {

std::string_view rawString(RecordedAudioSource source) {
    return source == RecordedAudioSource::system ? "system" : "microphone";
}

std::optional<RecordedAudioSource> recordedAudioSource(std::string_view rawString) {
    if (rawString == "system") return RecordedAudioSource::system;
    if (rawString == "microphone") return RecordedAudioSource::microphone;
    return std::nullopt;
}

AudioConfiguration AudioConfiguration::including(const std::vector<RecordedAudioSource>& sources) {
    const auto holds = [&](RecordedAudioSource source) {
        return std::find(sources.begin(), sources.end(), source) != sources.end();
    };
    return {holds(RecordedAudioSource::system), holds(RecordedAudioSource::microphone)};
}

AudioTrackRouting AudioTrackRouting::pairing(const std::vector<int>& trackIDs,
                                             const std::vector<RecordedAudioSource>& sources) {
    AudioTrackRouting routing;
    for (std::size_t i = 0; i < trackIDs.size(); ++i) {
        if (i < sources.size()) {
            routing.trackIDsBySource[sources[i]] = trackIDs[i];
        } else {
            routing.otherTrackIDs.push_back(trackIDs[i]);
        }
    }
    return routing;
}

}  // namespace varnelle
