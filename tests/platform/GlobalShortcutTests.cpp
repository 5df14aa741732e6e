#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "foundation/Log.h"
#include "platform/linux/LinuxDesktop.h"
#include "support/KeyRobot.h"
#include "support/Waiting.h"
#include "support/XServer.h"

namespace varnelle {
namespace {

namespace key = test::key;

constexpr KeyChord kChord{.key = U'r', .hasControl = true, .hasAlternate = true};

class GlobalShortcutTest : public testing::Test {
protected:
    void SetUp() override {
        if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
        server_ = std::make_unique<test::XServer>();
        desktop_ = std::make_unique<LinuxDesktop>(server_->displayName());
        robot_ = std::make_unique<test::KeyRobot>(server_->displayName());
    }
    std::unique_ptr<GlobalShortcut> make() {
        return desktop_->makeGlobalShortcut(kChord, [this] { ++pressCount_; });
    }

    std::unique_ptr<test::XServer> server_;
    std::unique_ptr<LinuxDesktop> desktop_;
    std::unique_ptr<test::KeyRobot> robot_;
    std::atomic<int> pressCount_{0};
};

TEST_F(GlobalShortcutTest, HearsItsChordAloneWhateverIsLocked) {
    const auto shortcut = make();
    ASSERT_NE(shortcut, nullptr);
    int expectedCount = 0;
    const auto typeAll = [&] {
        robot_->type(U'r');
        robot_->type(U'r', {key::kControl});
        robot_->type(U'r', {key::kAlternate});
        robot_->type(U'r', {key::kControl, key::kAlternate, key::kShift});
        robot_->type(U'r', {key::kControl, key::kAlternate, key::kSuper});
        robot_->type(U't', {key::kControl, key::kAlternate});
        robot_->type(U'r', {key::kControl, key::kAlternate});
        robot_->type(U'r', {key::kAlternate, key::kControl});
        expectedCount += 2;
    };
    typeAll();
    robot_->type(key::kCapsLock);
    typeAll();
    robot_->type(key::kNumLock);
    typeAll();
    robot_->type(key::kCapsLock);
    typeAll();
    EXPECT_TRUE(test::waitUntil([&] { return pressCount_ >= expectedCount; }, test::kPatience));
    EXPECT_EQ(pressCount_, expectedCount);
}

TEST_F(GlobalShortcutTest, BelongsToOneProgramAtATime) {
    test::Inbox<std::string> lines;
    const LogObserver observer(LogCategory::app, [&lines](const std::string& line) { lines.put(line); });
    auto first = make();
    ASSERT_NE(first, nullptr);
    LinuxDesktop other(server_->displayName());
    EXPECT_EQ(other.makeGlobalShortcut(kChord, [] {}), nullptr);
    EXPECT_THAT(lines.items(), testing::ElementsAre(testing::HasSubstr("Another program has Ctrl+Alt+r.")));
    robot_->type(U'r', {key::kControl, key::kAlternate});
    EXPECT_TRUE(test::waitUntil([&] { return pressCount_ == 1; }, test::kPatience))
        << "the first one still has it";
    first = nullptr;
    // The server lets go once it has seen the connection's end.
    EXPECT_TRUE(
        test::waitUntil([&] { return other.makeGlobalShortcut(kChord, [] {}) != nullptr; }, test::kPatience));
    EXPECT_EQ(desktop_->makeGlobalShortcut({.key = U'я', .hasControl = true}, [] {}), nullptr)
        << "the keyboard has no such key";
}

TEST_F(GlobalShortcutTest, FollowsTheKeyboardsLayout) {
    const auto shortcut = make();
    ASSERT_NE(shortcut, nullptr);
    test::ChildProcess layout({"setxkbmap", "-display", server_->displayName(), "us", "dvorak"});
    ASSERT_EQ(layout.waitForEnd(), 0);
    const auto isHeard = [&] {
        robot_->type(U'r', {key::kControl, key::kAlternate});
        return pressCount_ > 0;
    };
    EXPECT_TRUE(test::waitUntil(isHeard, test::kPatience));
}

TEST_F(GlobalShortcutTest, EndsWhileTheDisplayHangsOrIsGone) {
    auto shortcut = make();
    ASSERT_NE(shortcut, nullptr);
    server_->freeze();
    shortcut = nullptr;
    server_->thaw();
    EXPECT_TRUE(test::waitUntil(
        [&] {
            shortcut = make();
            return shortcut != nullptr;
        },
        test::kPatience));
    server_->kill();
    shortcut = nullptr;
    EXPECT_EQ(make(), nullptr);
}

}  // namespace
}  // namespace varnelle
