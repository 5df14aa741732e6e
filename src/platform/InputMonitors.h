#pragma once

#include <functional>
#include <memory>

namespace varnelle {

/// The wheel or two fingers moved. Positive deltas move the content right and down, as when scrolling towards
/// its beginning.
struct ScrollEvent {
    double scrollingDeltaX = 0;  ///< points
    double scrollingDeltaY = 0;  ///< points
    bool isMomentum = false;     ///< of the phase that follows the fingers' release
    double ageSeconds = 0;       ///< how long ago it happened; desktops may tell in bunches

    bool operator==(const ScrollEvent&) const = default;
};

/// A key other than a modifier went down. Which one is not told, on purpose.
struct KeyDownEvent {
    bool hasControl = false;
    bool hasAlternate = false;
    bool hasCommand = false;       ///< the key with the system's sign
    bool isNavigationKey = false;  ///< Home, End, a page key or an arrow

    bool operator==(const KeyDownEvent&) const = default;
};

/// A monitor that is installed for as long as the object lives. No handler runs once it is destroyed; it must
/// not be destroyed by its own handler.
class InputMonitor {
public:
    virtual ~InputMonitor() = default;
};

/// Installs monitors for what the user does in any program. Safe on any thread.
class InputMonitors {
public:
    virtual ~InputMonitors() = default;
    /// Null if the desktop refuses. The handler is called on a thread of the monitor's own.
    [[nodiscard]] virtual std::unique_ptr<InputMonitor> addScrollMonitor(
        std::function<void(const ScrollEvent&)> handler) = 0;
    /// The same for keys that go down.
    [[nodiscard]] virtual std::unique_ptr<InputMonitor> addKeyMonitor(
        std::function<void(const KeyDownEvent&)> handler) = 0;
};

}  // namespace varnelle
