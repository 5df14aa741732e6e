#pragma once

#include <optional>

#include "foundation/Geometry.h"

namespace varnelle {

struct PointerState {
    CGPoint location;  ///< global points, origin top left
    bool isLeftButtonPressed = false;
    bool isRightButtonPressed = false;

    bool operator==(const PointerState&) const = default;
};

/// Where the pointer is. For one thread at a time.
class PointerInput {
public:
    virtual ~PointerInput() = default;
    /// The pointer as it is now; absent if the desktop doesn't tell within a quarter of a second or is gone.
    [[nodiscard]] virtual std::optional<PointerState> currentState() = 0;
};

}  // namespace varnelle
