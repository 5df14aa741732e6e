#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace varnelle {

struct CaptureDevice {
    std::string uniqueID;  ///< stays the same when the device is connected again
    std::string localizedName;

    bool operator==(const CaptureDevice&) const = default;
};

/// The devices that sound and pictures can be captured from. Safe to share between threads.
class CaptureDevices {
public:
    using ChangeHandler = std::function<void()>;

    virtual ~CaptureDevices() = default;
    /// What is connected at this moment, without what only plays back the system's own sound. Empty where
    /// the desktop has no sound or pictures to offer. The first call may wait for the desktop's answer, for
    /// less than half a second.
    [[nodiscard]] virtual std::vector<CaptureDevice> microphones() = 0;
    [[nodiscard]] virtual std::vector<CaptureDevice> cameras() = 0;
    /// Has `onChange` called, on any thread, whenever a list has changed, for as long as the returned object
    /// lives. When that has been destroyed (not by the handler itself), the handler neither runs nor is
    /// called any more. The handler mustn't wait for other threads.
    [[nodiscard]] virtual std::shared_ptr<void> observeChanges(ChangeHandler onChange) = 0;
};

}  // namespace varnelle
