#pragma once

#include "platform/SystemPermissions.h"

namespace varnelle::test {

/// A desktop that permits what the test says.
struct FakePermissions final : SystemPermissions {
    [[nodiscard]] bool hasScreenCaptureAccess() const override {
        ++looks;
        return screen;
    }
    [[nodiscard]] bool isAccessibilityTrusted() const override { return accessibility; }
    void requestScreenCaptureAccess() override { ++screenRequests; }
    void requestAccessibilityTrust() override { ++accessibilityRequests; }

    bool screen = true;
    bool accessibility = true;
    int screenRequests = 0;
    int accessibilityRequests = 0;
    mutable int looks = 0;
};

}  // namespace varnelle::test
