#pragma once

namespace varnelle {

/// What the desktop lets the program do. Main thread.
class SystemPermissions {
public:
    virtual ~SystemPermissions() = default;
    [[nodiscard]] virtual bool hasScreenCaptureAccess() const = 0;
    /// Whether the accessibility tree of other programs may be read.
    [[nodiscard]] virtual bool isAccessibilityTrusted() const = 0;
};

}  // namespace varnelle
