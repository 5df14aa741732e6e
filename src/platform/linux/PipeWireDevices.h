#pragma once

#include <memory>

#include "platform/CaptureDevices.h"
#include "platform/linux/PipeWireHub.h"

namespace varnelle {

/// The microphones and cameras that PipeWire offers, known by the names of their nodes.
class PipeWireDevices final : public CaptureDevices {
public:
    /// The hub must outlive the object.
    explicit PipeWireDevices(PipeWireHub& hub) : hub_(hub) {}

    [[nodiscard]] std::vector<CaptureDevice> microphones() override;
    [[nodiscard]] std::vector<CaptureDevice> cameras() override;
    [[nodiscard]] std::shared_ptr<void> observeChanges(ChangeHandler onChange) override;

private:
    PipeWireHub& hub_;
};

}  // namespace varnelle
