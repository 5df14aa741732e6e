#pragma once

#include <optional>
#include <string>
#include <variant>

#include "foundation/Geometry.h"
#include "platform/ShareableContent.h"

namespace varnelle {

/// What to record and how.
struct RecordingConfiguration {
    /// A whole display.
    struct DisplaySource {
        ShareableDisplay display;
        bool operator==(const DisplaySource&) const = default;
    };
    /// A window: with a display its place on that display, and what lies over it there; without one the
    /// window by itself.
    struct WindowSource {
        ShareableWindow window;
        std::optional<ShareableDisplay> display;
        bool operator==(const WindowSource&) const = default;
    };
    /// A part of a display.
    struct AreaSource {
        ShareableDisplay display;
        CGRect rect;                 ///< points, from the display's top left corner
        double pointPixelScale = 1;  ///< pixels per point
        bool operator==(const AreaSource&) const = default;
    };
    using Source = std::variant<DisplaySource, WindowSource, AreaSource>;

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
