#pragma once

#include <string>

#include "platform/InputMonitors.h"

namespace varnelle {

/// Monitors on raw events of the X Input Extension, which come whichever program has the input. Each monitor
/// has a connection and a thread of its own. A display that is lost ends a monitor's events and nothing else.
class X11InputMonitors final : public InputMonitors {
public:
    /// `displayName` as in `$DISPLAY`; empty takes `$DISPLAY`.
    explicit X11InputMonitors(std::string displayName);

    [[nodiscard]] std::unique_ptr<InputMonitor> addScrollMonitor(
        std::function<void(const ScrollEvent&)> handler) override;
    [[nodiscard]] std::unique_ptr<InputMonitor> addKeyMonitor(
        std::function<void(const KeyDownEvent&)> handler) override;

private:
    std::string displayName_;
};

}  // namespace varnelle
