#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/X11FrontWindows.h"
#include "support/AccessibilitySession.h"
#include "support/AccessibleWindowContent.h"
#include "support/PatternWindow.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::ContentRect;

constexpr auto kDeadline = 20s;

CGPoint middleOf(const CGRect& rect) {
    return {rect.midX(), rect.midY()};
}

/// A display with a window manager, a session, and a program with a window on them.
class FocusInputTest : public testing::Test {
protected:
    void SetUp() override {
        if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
        if (!test::AccessibilitySession::isAvailable()) GTEST_SKIP() << test::AccessibilitySession::kMissing;
        server_ = std::make_unique<test::XServer>(800, 600);
        server_->startWindowManager();
        session_ = std::make_unique<test::AccessibilitySession>(*server_);
        window_ = std::make_unique<test::AccessibleWindow>(*server_);
        robot_ = std::make_unique<test::PointerRobot>(server_->displayName());
        focus_ = LinuxDesktop(server_->displayName()).makeFocusInput();
    }
    /// Where the program's window has put something, by what the X server says about the window.
    CGRect global(const ContentRect& rect) {
        X11FrontWindows windows(server_->displayName());
        windows.beginSample(std::chrono::steady_clock::now() + kDeadline);
        const auto window = windows.topmostWindow(window_->processID());
        if (!window) return {};
        return {{window->frame.minX() + rect.x, window->frame.minY() + rect.y},
                {static_cast<double>(rect.width), static_cast<double>(rect.height)}};
    }
    void pointAt(const CGRect& rect) {
        const CGPoint place = middleOf(rect);
        robot_->moveTo(static_cast<int>(place.x), static_cast<int>(place.y));
    }
    /// Takes samples until one has what is wanted: programs tell changes when they get round to it.
    template <typename Condition>
    bool sampleUntil(Condition condition) {
        return test::waitUntil(
            [&] {
                focus_->beginSample();
                return condition();
            },
            kDeadline);
    }
    bool seesUnderPointer(const std::string& role, const CGRect& frame) {
        lastSeen_ = "nothing";
        const auto element = focus_->elementUnderPointer();
        return element != nullptr && isAt(*element, role, frame);
    }
    bool seesKeyboardAt(const std::string& role, const CGRect& frame) {
        lastSeen_ = "nothing";
        const auto element = focus_->focusedElement(window_->processID());
        return element != nullptr && isAt(*element, role, frame);
    }

    std::unique_ptr<test::XServer> server_;
    std::unique_ptr<test::AccessibilitySession> session_;
    std::unique_ptr<test::AccessibleWindow> window_;
    std::unique_ptr<test::PointerRobot> robot_;
    std::unique_ptr<FocusInput> focus_;
    std::string lastSeen_;

private:
    bool isAt(AccessibilityElement& element, const std::string& role, const CGRect& frame) {
        const std::string seenRole = element.role().value_or("no role");
        const CGRect seen = element.frame().value_or(CGRect{});
        lastSeen_ = seenRole + " at " + std::to_string(seen.minX()) + ", " + std::to_string(seen.minY()) +
                    ", " + std::to_string(seen.width()) + " x " + std::to_string(seen.height());
        return seenRole == role && std::abs(seen.minX() - frame.minX()) <= 1 &&
               std::abs(seen.minY() - frame.minY()) <= 1 && std::abs(seen.maxX() - frame.maxX()) <= 1 &&
               std::abs(seen.maxY() - frame.maxY()) <= 1;
    }
};

TEST_F(FocusInputTest, TellsTheFrontWindowWithItsDecoration) {
    focus_->beginSample();
    ASSERT_EQ(focus_->frontmostProcess(), window_->processID());
    const auto frame = focus_->windowFrame(window_->processID());
    ASSERT_TRUE(frame.has_value());
    const CGRect content = global({0, 0, test::kWindowContent.width, test::kWindowContent.height});
    EXPECT_EQ(content.unionWith(*frame), *frame);
    EXPECT_GT(content.minY() - frame->minY(), 5) << "the title bar";
    EXPECT_LT(content.minY() - frame->minY(), 60);
    EXPECT_EQ(focus_->windowFrame(getpid()), std::nullopt) << "a process without a window";
}

TEST_F(FocusInputTest, TellsRoleAndFrameOfWhatIsUnderThePointer) {
    for (const auto& [role, rect] :
         {std::pair{"AXButton", test::kButtonContent}, std::pair{"AXTextField", test::kLineEditContent}}) {
        const CGRect frame = global(rect);
        pointAt(frame);
        EXPECT_TRUE(sampleUntil([&, &r = role] { return seesUnderPointer(r, frame); }))
            << role << ": " << lastSeen_;
    }
    // Up from there to the window, and no further than the program.
    focus_->beginSample();
    auto element = focus_->elementUnderPointer();
    ASSERT_NE(element, nullptr);
    std::vector<std::string> roles;
    for (; element != nullptr && roles.size() < 20; element = element->parent()) {
        roles.push_back(element->role().value_or(""));
    }
    ASSERT_GE(roles.size(), 2U);
    EXPECT_EQ(roles.back(), "AXApplication");
    robot_->moveTo(790, 590);
    EXPECT_TRUE(sampleUntil([&] { return focus_->elementUnderPointer() == nullptr; })) << "the bare screen";
}

TEST_F(FocusInputTest, FollowsTheKeyboardAndItsSelection) {
    const CGRect lineEdit = global(test::kLineEditContent);
    ASSERT_TRUE(sampleUntil([&] { return seesKeyboardAt("AXTextField", lineEdit); })) << lastSeen_;
    focus_->beginSample();
    const auto element = focus_->focusedElement(window_->processID());
    ASSERT_NE(element, nullptr);
    const auto selection = element->selectedTextBounds();
    ASSERT_TRUE(selection.has_value());
    EXPECT_EQ(lineEdit.unionWith(*selection), lineEdit);
    EXPECT_GT(selection->width(), 20);
    EXPECT_LT(selection->width(), lineEdit.width() * 0.6) << "one of three words";

    // The button gives the text edit the focus; that comes as an event.
    pointAt(global(test::kButtonContent));
    robot_->setButton(1, true);
    robot_->setButton(1, false);
    EXPECT_TRUE(sampleUntil([&] { return seesKeyboardAt("AXTextArea", global(test::kTextEditContent)); }))
        << lastSeen_;
    focus_->beginSample();
    EXPECT_EQ(focus_->focusedElement(window_->processID())->selectedTextBounds(), std::nullopt);
}

TEST_F(FocusInputTest, ProgramThatHangsTakesLittleTime) {
    const CGRect button = global(test::kButtonContent);
    pointAt(button);
    ASSERT_TRUE(sampleUntil([&] { return seesUnderPointer("AXButton", button); })) << lastSeen_;
    window_->freeze();
    const auto begin = std::chrono::steady_clock::now();
    constexpr int kSamples = 20;
    for (int i = 0; i < kSamples; ++i) {
        focus_->beginSample();
        EXPECT_TRUE(focus_->windowFrame(window_->processID()).has_value()) << "windows are told without it";
        const auto pointed = focus_->elementUnderPointer();
        EXPECT_TRUE(pointed == nullptr || !pointed->frame().has_value());
        EXPECT_EQ(focus_->focusedElement(window_->processID()), nullptr);
    }
    // Asked in vain once a second, at a tenth of a second each. A call that waited for as long as the
    // library's own default would take 25 seconds.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
    window_->thaw();
    EXPECT_TRUE(sampleUntil([&] { return seesUnderPointer("AXButton", button); })) << lastSeen_;
}

TEST_F(FocusInputTest, BusThatDiesTakesTheElementsOnlyUntilItReturns) {
    const CGRect button = global(test::kButtonContent);
    pointAt(button);
    ASSERT_TRUE(sampleUntil([&] { return seesUnderPointer("AXButton", button); })) << lastSeen_;
    session_->endService();
    EXPECT_TRUE(sampleUntil([&] { return focus_->elementUnderPointer() == nullptr; }));
    EXPECT_TRUE(focus_->windowFrame(window_->processID()).has_value());
    session_->startService();
    // The toolkit doesn't look for a new bus, but a new program finds it.
    window_ = std::make_unique<test::AccessibleWindow>(*server_);
    const CGRect buttonAgain = global(test::kButtonContent);
    pointAt(buttonAgain);
    EXPECT_TRUE(sampleUntil([&] { return seesUnderPointer("AXButton", buttonAgain); })) << lastSeen_;
}

TEST(FocusInput, WithoutWindowManagerAndBusTheWindowIsThere) {
    if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
    const test::XServer server;
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    unsetenv("XDG_RUNTIME_DIR");
    const auto focus = LinuxDesktop(server.displayName()).makeFocusInput();
    focus->beginSample();
    EXPECT_EQ(focus->frontmostProcess(), std::nullopt) << "nothing has the focus";
    const test::AccessibleWindow window(server);
    test::PointerRobot robot(server.displayName());
    robot.moveTo(test::kWindowContent.x + 30, test::kWindowContent.y + 30);
    focus->beginSample();
    ASSERT_EQ(focus->frontmostProcess(), window.processID());
    EXPECT_EQ(focus->windowFrame(window.processID()),
              (CGRect{{test::kWindowContent.x, test::kWindowContent.y},
                      {test::kWindowContent.width, test::kWindowContent.height}}));
    EXPECT_EQ(focus->elementUnderPointer(), nullptr);
    EXPECT_EQ(focus->focusedElement(window.processID()), nullptr);
}

}  // namespace
}  // namespace varnelle
