#pragma once

#include "platform/PointerInput.h"
#include "platform/linux/X11Connection.h"

namespace varnelle {

/// Asks the X server for the pointer, on a connection of its own so that it never waits behind pictures.
class X11PointerInput final : public PointerInput {
public:
    /// Throws `PlatformError`.
    explicit X11PointerInput(const std::string& displayName);

    [[nodiscard]] std::optional<PointerState> currentState() override;

private:
    X11Connection connection_;
    double scale_;  ///< pixels per point
};

}  // namespace varnelle
