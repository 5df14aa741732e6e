#include "platform/linux/LinuxPermissions.h"

#include <gtest/gtest.h>

#include "support/AccessibilitySession.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;

TEST(LinuxPermissions, AccessibilityIsTrustedOnceItIsAskedFor) {
    if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
    if (!test::AccessibilitySession::isAvailable()) GTEST_SKIP() << test::AccessibilitySession::kMissing;
    const test::XServer server;
    test::AccessibilitySession session(server);
    LinuxPermissions permissions(server.displayName());
    EXPECT_FALSE(permissions.isAccessibilityTrusted()) << "the service is there, but off";
    permissions.requestAccessibilityTrust();
    EXPECT_TRUE(test::waitUntil([&] { return permissions.isAccessibilityTrusted(); }, test::kPatience));
    session.endService();
    EXPECT_TRUE(test::waitUntil([&] { return !permissions.isAccessibilityTrusted(); }, test::kPatience));
}

TEST(LinuxPermissions, ScreenIsAccessibleWhileTheDisplayAnswers) {
    if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
    test::XServer server;
    const LinuxPermissions permissions(server.displayName());
    EXPECT_TRUE(test::waitUntil([&] { return permissions.hasScreenCaptureAccess(); }, test::kPatience));
    server.kill();
    EXPECT_TRUE(test::waitUntil([&] { return !permissions.hasScreenCaptureAccess(); }, test::kPatience));
}

TEST(LinuxPermissions, SessionThatHangsIsAskedForAShortTime) {
    if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
    if (!test::AccessibilitySession::isAvailable()) GTEST_SKIP() << test::AccessibilitySession::kMissing;
    const test::XServer server;
    test::AccessibilitySession session(server);
    session.freezeSessionBus();
    {
        LinuxPermissions permissions(server.displayName());
        const auto begin = std::chrono::steady_clock::now();
        permissions.requestAccessibilityTrust();
        for (int i = 0; i < 5; ++i) EXPECT_FALSE(permissions.isAccessibilityTrusted());
        // Two seconds in all, with room for a slow machine; the bus would hold each of them for 25.
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
    }
    session.thawSessionBus();
}

}  // namespace
}  // namespace varnelle
