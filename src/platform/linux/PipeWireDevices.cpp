#include "platform/linux/PipeWireDevices.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace varnelle {
namespace {

/// In the order in which they were connected. The playback monitors of outputs are no devices of their own
/// here, so they never appear.
std::vector<CaptureDevice> devicesOf(const std::vector<PipeWireNode>& nodes, std::string_view mediaClass) {
    std::vector<CaptureDevice> devices;
    for (const PipeWireNode& node : nodes) {
        const bool isListed = std::any_of(devices.begin(), devices.end(), [&](const CaptureDevice& device) {
            return device.uniqueID == node.name;
        });
        if (node.mediaClass.starts_with(mediaClass) && !isListed) {
            devices.push_back({node.name, node.description});
        }
    }
    return devices;
}

std::vector<CaptureDevice> microphonesOf(const std::vector<PipeWireNode>& nodes) {
    return devicesOf(nodes, "Audio/Source");
}

std::vector<CaptureDevice> camerasOf(const std::vector<PipeWireNode>& nodes) {
    return devicesOf(nodes, "Video/Source");
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
