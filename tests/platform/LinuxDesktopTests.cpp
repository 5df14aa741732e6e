#include "platform/linux/LinuxDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "platform/PlatformError.h"
#include "support/PatternWindow.h"
#include "support/Waiting.h"
#include "support/XServer.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::waitUntil;

TEST(LinuxDesktop, NamesTheDisplayThatIsMissing) {
    LinuxDesktop desktop(":4711");
    const auto check = [](const auto& action) {
        try {
            action();
            ADD_FAILURE() << "no error";
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.code(), PlatformError::Code::displayUnavailable);
            EXPECT_THAT(error.what(), testing::HasSubstr("“:4711”"));
        }
    };
    check([&] { (void)desktop.shareableContent({}); });
    check([&] { (void)desktop.makePointerInput(); });
}

TEST(LinuxDesktop, ListsTheScreenWithItsSize) {
    if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
    test::XServer server(800, 600);
    LinuxDesktop desktop(server.displayName());
    const ShareableContent content = desktop.shareableContent({});
    ASSERT_EQ(content.displays.size(), 1U);
    const ShareableDisplay& display = content.displays.front();
    EXPECT_EQ(display.widthPixels, 800);
    EXPECT_EQ(display.heightPixels, 600);
    EXPECT_EQ(display.frame, (CGRect{{0, 0}, {800, 600}}));
    EXPECT_EQ(display.scale, 1.0);
    EXPECT_FALSE(display.name.empty());
}

TEST(LinuxDesktop, TellsPlaceAndButtonsOfThePointer) {
    if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
    test::XServer server;
    test::PointerRobot robot(server.displayName());
    LinuxDesktop desktop(server.displayName());
    const auto pointer = desktop.makePointerInput();
    robot.moveTo(123, 45);
    EXPECT_EQ(pointer->currentState(), (PointerState{{123, 45}, false, false}));
    robot.setButton(1, true);
    EXPECT_EQ(pointer->currentState(), (PointerState{{123, 45}, true, false}));
    robot.setButton(3, true);
    robot.setButton(1, false);
    robot.moveTo(639, 479);
    EXPECT_EQ(pointer->currentState(), (PointerState{{639, 479}, false, true}));
    robot.setButton(3, false);
}

TEST(LinuxDesktop, PointerOfADisplayThatHangsOrDiedIsAbsent) {
    if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
    test::XServer server;
    LinuxDesktop desktop(server.displayName());
    const auto pointer = desktop.makePointerInput();
    ASSERT_TRUE(pointer->currentState().has_value());
    server.freeze();
    EXPECT_EQ(pointer->currentState(), std::nullopt);
    server.thaw();
    EXPECT_TRUE(waitUntil([&] { return pointer->currentState().has_value(); }, 5s));
    server.kill();
    EXPECT_EQ(pointer->currentState(), std::nullopt);
}

}  // namespace
}  // namespace varnelle
