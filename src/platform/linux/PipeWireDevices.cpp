#include "platform/linux/PipeWireDevices.h"

#include <algorithm>
#include <utility>

namespace varnelle {
namespace {

/// In the order in which they were connected.
std::vector<CaptureDevice> devicesOf(const std::vector<PipeWireNode>& nodes,
                                     bool (PipeWireNode::*isWanted)() const) {
    std::vector<CaptureDevice> devices;
    for (const PipeWireNode& node : nodes) {
        const bool isListed = std::any_of(devices.begin(), devices.end(), [&](const CaptureDevice& device) {
            return device.uniqueID == node.name;
        });
        if ((node.*isWanted)() && !isListed) {
            devices.push_back({node.name, node.description});
        }
    }
    return devices;
}

std::vector<CaptureDevice> microphonesOf(const std::vector<PipeWireNode>& nodes) {
    return devicesOf(nodes, &PipeWireNode::isMicrophone);
}

std::vector<CaptureDevice> camerasOf(const std::vector<PipeWireNode>& nodes) {
    return devicesOf(nodes, &PipeWireNode::isCamera);
}

}  // namespace

std::vector<CaptureDevice> PipeWireDevices::microphones() {
    return microphonesOf(hub_.nodes());
}

std::vector<CaptureDevice> PipeWireDevices::cameras() {
    return camerasOf(hub_.nodes());
}

std::shared_ptr<void> PipeWireDevices::observeChanges(ChangeHandler onChange) {
    struct Lists {
        std::vector<CaptureDevice> microphones;
        std::vector<CaptureDevice> cameras;
    };
    const auto nodes = hub_.nodes();
    // Outputs come and go as well, and cameras change their formats.
    const auto known = std::make_shared<Lists>(Lists{microphonesOf(nodes), camerasOf(nodes)});
    return hub_.observeNodes([this, known, onChange = std::move(onChange)] {
        const auto changed = hub_.nodes();
        Lists lists{microphonesOf(changed), camerasOf(changed)};
        if (lists.microphones == known->microphones && lists.cameras == known->cameras) return;
        *known = std::move(lists);
        onChange();
    });
}

}  // namespace varnelle
