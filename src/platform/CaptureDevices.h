#pragma once

#include <string>
#include <vector>

namespace varnelle {

struct CaptureDevice {
    std::string uniqueID;
    std::string localizedName;

    bool operator==(const CaptureDevice&) const = default;
};

/// The devices that sound and pictures can be captured from. On Linux there is no sound capture yet, so that
/// list is empty there, and a recording that asks for the microphone goes on without it.
class CaptureDevices {
public:
    virtual ~CaptureDevices() = default;
    [[nodiscard]] virtual std::vector<CaptureDevice> microphones() = 0;
};

}  // namespace varnelle
