#pragma once

#include <vector>

#include "platform/CaptureDevices.h"

namespace varnelle {

/// Knows the microphones. A recording takes their sound from the stream of the screen. Any thread.
class AudioEngine {
public:
    [[nodiscard]] static std::vector<CaptureDevice> availableMicrophones(CaptureDevices& devices) {
        return devices.microphones();
    }
};

}  // namespace varnelle
