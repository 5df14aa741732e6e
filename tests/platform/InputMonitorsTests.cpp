#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/ScrollDevice.h"
#include "support/KeyRobot.h"
#include "support/PatternWindow.h"
#include "support/Waiting.h"
#include "support/XServer.h"

namespace varnelle {
namespace {

namespace key = test::key;
using testing::ElementsAre;

TEST(ScrollDevice, CountsNotchesOfItsValuators) {
    ScrollDevice device({{.valuator = 2, .isHorizontal = true, .increment = 15},
                         {.valuator = 3, .isHorizontal = false, .increment = -10}});
    const std::vector<ValuatorChange> pointerOnly{{0, 5}, {1, 5}};
    EXPECT_EQ(device.motion(pointerOnly), std::nullopt);
    const std::vector<ValuatorChange> both{{0, 5}, {2, 7.5}, {3, 10}};
    EXPECT_EQ(device.motion(both), (ScrollEvent{-0.5 * kPointsPerWheelNotch, kPointsPerWheelNotch, false}));
}

TEST(ScrollDevice, TakesDifferencesOfPositions) {
    ScrollDevice device({{.valuator = 1, .increment = 2, .isAbsolute = true}});
    const auto moveTo = [&device](double position) {
        const std::vector<ValuatorChange> changes{{1, position}};
        return device.motion(changes);
    };
    EXPECT_EQ(moveTo(100), std::nullopt) << "from an unknown place";
    EXPECT_EQ(moveTo(103), (ScrollEvent{0, -1.5 * kPointsPerWheelNotch, false}));
    EXPECT_EQ(moveTo(103), std::nullopt);
    EXPECT_EQ(moveTo(101), (ScrollEvent{0, kPointsPerWheelNotch, false}));
}

TEST(ScrollDevice, WheelButtonsCountOnlyWithoutAValuator) {
    const ScrollDevice plain;
    EXPECT_EQ(plain.buttonPress(4, false), (ScrollEvent{0, kPointsPerWheelNotch, false}));
    EXPECT_EQ(plain.buttonPress(5, false), (ScrollEvent{0, -kPointsPerWheelNotch, false}));
    EXPECT_EQ(plain.buttonPress(6, false), (ScrollEvent{kPointsPerWheelNotch, 0, false}));
    EXPECT_EQ(plain.buttonPress(7, false), (ScrollEvent{-kPointsPerWheelNotch, 0, false}));
    for (const std::uint32_t button : {1U, 2U, 3U, 8U, 9U}) {
        EXPECT_EQ(plain.buttonPress(button, false), std::nullopt) << button;
    }
    EXPECT_EQ(plain.buttonPress(4, true), std::nullopt);
    const ScrollDevice vertical(std::vector{ScrollAxis{.valuator = 3}});
    EXPECT_EQ(vertical.buttonPress(5, false), std::nullopt);
    EXPECT_NE(vertical.buttonPress(6, false), std::nullopt) << "it has no valuator for this direction";
}

TEST(InputMonitors, TellTheWheelWhereverThePointerIs) {
    if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
    const test::XServer server;
    LinuxDesktop desktop(server.displayName());
    const auto monitors = desktop.makeInputMonitors();
    test::Inbox<ScrollEvent> events;
    auto monitor = monitors->addScrollMonitor([&events](const ScrollEvent& event) { events.put(event); });
    ASSERT_NE(monitor, nullptr);
    test::PointerRobot robot(server.displayName());
    for (const int button : {4, 1, 5, 6, 7}) {
        robot.moveTo(button, button);
        robot.setButton(button, true);
        robot.setButton(button, false);
    }
    ASSERT_TRUE(events.waitForCount(4, test::kPatience));
    std::vector<std::pair<double, double>> deltas;
    for (const ScrollEvent& event : events.items()) {
        deltas.emplace_back(event.scrollingDeltaX, event.scrollingDeltaY);
        EXPECT_GE(event.ageSeconds, 0);
        EXPECT_LE(event.ageSeconds, 1);
    }
    EXPECT_THAT(deltas,
                ElementsAre(std::pair(0, 48), std::pair(0, -48), std::pair(48, 0), std::pair(-48, 0)));
    monitor = nullptr;
    robot.setButton(4, true);
    robot.setButton(4, false);
    EXPECT_EQ(events.count(), 4U) << "no handler runs once the monitor is gone";
}

TEST(InputMonitors, TellKeysWithTheModifiersOfTheirMoment) {
    if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
    const test::XServer server;
    LinuxDesktop desktop(server.displayName());
    const auto monitors = desktop.makeInputMonitors();
    test::Inbox<KeyDownEvent> events;
    const auto monitor = monitors->addKeyMonitor([&events](const KeyDownEvent& event) { events.put(event); });
    ASSERT_NE(monitor, nullptr);
    test::KeyRobot robot(server.displayName());
    constexpr KeyDownEvent plain{};
    constexpr KeyDownEvent navigation{.isNavigationKey = true};
    struct Case {
        const char* name;
        std::uint32_t symbol;
        std::vector<std::uint32_t> held;
        std::optional<KeyDownEvent> expected;
    };
    std::vector<KeyDownEvent> expected;
    const std::vector<Case> cases{
        {"letter", U'a', {}, plain},
        {"capital", U'a', {key::kShift}, plain},
        {"return", key::kReturn, {}, plain},
        {"function key", key::kF1, {}, plain},
        {"home", key::kHome, {}, navigation},
        {"page up", key::kPageUp, {}, navigation},
        {"shift and arrow", key::kLeft, {key::kShift}, navigation},
        {"control", U'a', {key::kControl}, KeyDownEvent{.hasControl = true}},
        {"alt", U'a', {key::kAlternate}, KeyDownEvent{.hasAlternate = true}},
        {"super and arrow",
         key::kLeft,
         {key::kSuper},
         KeyDownEvent{.hasCommand = true, .isNavigationKey = true}},
        {"modifier alone", key::kControl, {}, std::nullopt},
        {"modifiers alone", key::kShift, {key::kAlternate}, std::nullopt},
        {"caps lock", key::kCapsLock, {}, std::nullopt},
        {"letter in caps", U'a', {}, plain},
        {"keypad", key::kKeypadHome, {}, navigation},
        {"num lock", key::kNumLock, {}, std::nullopt},
        {"keypad's digits", key::kKeypadHome, {}, plain},
        {"arrow in num lock", key::kLeft, {}, navigation},
        {"the end", U'a', {key::kControl, key::kShift}, KeyDownEvent{.hasControl = true}},
    };
    for (const Case& c : cases) {
        if (c.held.size() == 2)
            robot.type(c.symbol, {c.held[0], c.held[1]});
        else if (c.held.size() == 1)
            robot.type(c.symbol, {c.held[0]});
        else
            robot.type(c.symbol);
        if (c.expected) expected.push_back(*c.expected);
    }
    ASSERT_TRUE(events.waitForCount(expected.size(), test::kPatience));
    const auto seen = events.items();
    ASSERT_EQ(seen.size(), expected.size());
    std::size_t next = 0;
    for (const Case& c : cases) {
        if (!c.expected) continue;
        EXPECT_EQ(seen[next], *c.expected) << c.name;
        ++next;
    }
}

TEST(InputMonitors, DisplayThatIsGoneIsNoMonitor) {
    if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
    test::XServer server;
    LinuxDesktop desktop(server.displayName());
    const auto monitors = desktop.makeInputMonitors();
    {
        const auto scroll = monitors->addScrollMonitor([](const ScrollEvent&) {});
        const auto keys = monitors->addKeyMonitor([](const KeyDownEvent&) {});
        ASSERT_NE(keys, nullptr);
        server.freeze();
        // Monitors end while the display hangs.
    }
    server.thaw();
    {
        const auto keys = monitors->addKeyMonitor([](const KeyDownEvent&) {});
        server.kill();
    }
    EXPECT_EQ(monitors->addScrollMonitor([](const ScrollEvent&) {}), nullptr);
    EXPECT_EQ(monitors->addKeyMonitor([](const KeyDownEvent&) {}), nullptr);
}

}  // namespace
}  // namespace varnelle
