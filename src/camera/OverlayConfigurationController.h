#pragma once

#include <mutex>

#include "model/OverlayModels.h"

namespace varnelle {

/// The look that frames are rendered with, which the editor changes while a composition plays. Safe to share
/// between threads; the lock is held for a copy only.
class OverlayConfigurationController {
public:
    explicit OverlayConfigurationController(OverlayConfiguration configuration)
        : storage_(std::move(configuration)) {}

    [[nodiscard]] OverlayConfiguration configuration() const;
    void setConfiguration(const OverlayConfiguration& configuration);

private:
    mutable std::mutex lock_;
    OverlayConfiguration storage_;  // guarded by lock_
};

}  // namespace varnelle
