#include "camera/OverlayConfigurationController.h"

namespace varnelle {

OverlayConfiguration OverlayConfigurationController::configuration() const {
    const std::lock_guard lock(lock_);
    return storage_;
}

void OverlayConfigurationController::setConfiguration(const OverlayConfiguration& configuration) {
    const std::lock_guard lock(lock_);
    storage_ = configuration;
}

}  // namespace varnelle
