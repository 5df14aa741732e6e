#pragma once

namespace varnelle {

/// What the desktop lets the program do. Main thread; no call takes longer than a quarter of a second.
class SystemPermissions {
public:
    virtual ~SystemPermissions() = default;
    [[nodiscard]] virtual bool hasScreenCaptureAccess() const = 0;
    /// Whether the accessibility tree of other programs may be read.
    [[nodiscard]] virtual bool isAccessibilityTrusted() const = 0;
    /// Ask the desktop, or the user, to grant what is missing. Returns at once; whether it was granted shows
    /// in the questions above, some time later or never.
    virtual void requestScreenCaptureAccess() = 0;
    virtual void requestAccessibilityTrust() = 0;
};

}  // namespace varnelle
