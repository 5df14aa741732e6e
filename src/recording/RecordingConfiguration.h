#pragma once

#include <optional>
#include <string>
#include <variant>

#include "platform/ShareableContent.h"

namespace varnelle {

/// What to record and how.
struct RecordingConfiguration {
    /// A whole display.
    struct DisplaySource {
        ShareableDisplay display;
        bool operator==(const DisplaySource&) const = default;
    };
    using Source = std::variant<DisplaySource>;

    Source source;
    bool captureSystemAudio = false;
    bool captureMicrophone = false;
    bool captureCamera = false;
    std::optional<std::string> preferredMicrophoneID;  ///< empty counts as none
    std::optional<std::string> preferredCameraID;
    int frameRate = 60;        ///< frames per second
    int streamQueueDepth = 6;  ///< wanted number of frames in use at once

    bool operator==(const RecordingConfiguration&) const = default;
};

}  // namespace varnelle
