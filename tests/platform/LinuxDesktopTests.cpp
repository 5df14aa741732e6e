#include "platform/linux/LinuxDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/PlatformError.h"
#include "support/PatternWindow.h"
#include "support/Waiting.h"
#include "support/XServer.h"

namespace varnelle {
namespace {

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

TEST(LinuxDesktop, ShowsWhatItShows) {
    if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
    test::XServer server(800, 600);
    test::PatternWindow window(server.displayName(), 100, 50, 200, 100);
    window.fill(0, 0, 200, 100, 0x102030);
    LinuxDesktop desktop(server.displayName());
    test::PatternWindow own(server.displayName(), 90, 60, 100, 50,
                            {.processID = static_cast<std::uint32_t>(getpid())});
    own.fill(0, 0, 100, 50, 0xff00ff);
    // Reaches over the edge of the window to the left, and over that of the desktop below.
    const std::optional<VideoFrame> picture = desktop.pictureOfDesktop({90, 60, 140, 620});
    ASSERT_TRUE(picture);
    ASSERT_EQ(picture->width(), 50);
    ASSERT_EQ(picture->height(), 560);
    const auto pixel = [&](int x, int y) {
        const std::uint8_t* at = picture->plane(0).data + y * picture->plane(0).bytesPerRow + 4 * x;
        return at[0] | at[1] << 8 | at[2] << 16;
    };
    EXPECT_EQ(pixel(10, 0), 0x102030);
    EXPECT_EQ(pixel(49, 89), 0x102030);
    EXPECT_NE(pixel(9, 0), 0x102030);
    EXPECT_NE(pixel(10, 90), 0x102030);
    server.kill();
    EXPECT_FALSE(desktop.pictureOfDesktop({0, 0, 10, 10}));
}

TEST(LinuxDesktop, TellsPlaceAndButtonsOfThePointer) {
    if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
    test::XServer server;
    test::PointerRobot robot(server.displayName());
    LinuxDesktop desktop(server.displayName());
    const auto pointer = desktop.makePointerInput();
    // A server that is held up doesn't tell it in time.
    const auto tells = [&](const PointerState& expected) {
        return waitUntil([&] { return pointer->currentState() == expected; }, test::kPatience);
    };
    robot.moveTo(123, 45);
    EXPECT_TRUE(tells({{123, 45}, false, false}));
    robot.setButton(1, true);
    EXPECT_TRUE(tells({{123, 45}, true, false}));
    robot.setButton(3, true);
    robot.setButton(1, false);
    robot.moveTo(639, 479);
    EXPECT_TRUE(tells({{639, 479}, false, true}));
    robot.setButton(3, false);
}

TEST(LinuxDesktop, PointerOfADisplayThatHangsOrDiedIsAbsent) {
    if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
    test::XServer server;
    LinuxDesktop desktop(server.displayName());
    const auto pointer = desktop.makePointerInput();
    ASSERT_TRUE(waitUntil([&] { return pointer->currentState().has_value(); }, test::kPatience));
    server.freeze();
    EXPECT_EQ(pointer->currentState(), std::nullopt);
    server.thaw();
    EXPECT_TRUE(waitUntil([&] { return pointer->currentState().has_value(); }, test::kPatience));
    server.kill();
    EXPECT_EQ(pointer->currentState(), std::nullopt);
}

}  // namespace
}  // namespace varnelle
