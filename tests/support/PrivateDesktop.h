#pragma once

#include <memory>

#include "support/AccessibilitySession.h"
#include "support/PatternWindow.h"
#include "support/XServer.h"

namespace varnelle::test {

/// A display with a window manager, a session with an accessibility bus, and a program with a window of known
/// content on them. One at a time.
struct PrivateDesktop {
    /// Why a test has to be skipped; null if all programs are there.
    static const char* missing() {
        if (!XServer::isAvailable()) return XServer::kMissing;
        return AccessibilitySession::isAvailable() ? nullptr : AccessibilitySession::kMissing;
    }

    PrivateDesktop() {
        server.startWindowManager();
        session = std::make_unique<AccessibilitySession>(server);
        window = std::make_unique<AccessibleWindow>(server);
    }

    XServer server{800, 600};
    std::unique_ptr<AccessibilitySession> session;
    std::unique_ptr<AccessibleWindow> window;
    PointerRobot robot{server.displayName()};
};

}  // namespace varnelle::test
