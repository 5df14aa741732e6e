#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/X11FrontWindows.h"
#include "support/AccessibleWindowContent.h"
#include "support/PatternWindow.h"
#include "support/PrivateDesktop.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::ContentRect;

CGPoint middleOf(const CGRect& rect) {
    return {rect.midX(), rect.midY()};
}

/// A display with a window manager, a session, and a program with a window on them.
class FocusInputTest : public testing::Test {
protected:
    void SetUp() override {
        if (const char* reason = test::PrivateDesktop::missing()) GTEST_SKIP() << reason;
        desktop_ = std::make_unique<test::PrivateDesktop>();
        focus_ = LinuxDesktop(desktop_->server.displayName()).makeFocusInput();
    }
    /// Where the program's window has put something, by what the X server says about the window.
    CGRect global(const ContentRect& rect) {
        X11FrontWindows windows(desktop_->server.displayName());
        windows.beginSample(std::chrono::steady_clock::now() + test::kPatience);
        const auto window = windows.topmostWindow(desktop_->window->processID());
        if (!window) return {};
        return {{window->frame.minX() + rect.x, window->frame.minY() + rect.y},
                {static_cast<double>(rect.width), static_cast<double>(rect.height)}};
    }
    void pointAt(const CGRect& rect) {
        const CGPoint place = middleOf(rect);
        desktop_->robot.moveTo(static_cast<int>(place.x), static_cast<int>(place.y));
    }
    /// Takes samples until one has what is wanted: programs tell changes when they get round to it.
    template <typename Condition>
    bool sampleUntil(Condition condition) {
        return test::waitUntil(
            [&] {
                focus_->beginSample();
                return condition();
            },
            test::kPatience);
    }
    bool seesUnderPointer(const std::string& role, const CGRect& frame) {
        lastSeen_ = "nothing";
        const auto element = focus_->elementUnderPointer();
        return element != nullptr && isAt(*element, role, frame);
    }
    bool seesKeyboardAt(const std::string& role, const CGRect& frame) {
        lastSeen_ = "nothing";
        const auto element = focus_->focusedElement(desktop_->window->processID());
        return element != nullptr && isAt(*element, role, frame);
    }

    std::unique_ptr<test::PrivateDesktop> desktop_;
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
    ASSERT_TRUE(sampleUntil([&] { return focus_->frontmostProcess() == desktop_->window->processID(); }));
    const auto frame = focus_->windowFrame(desktop_->window->processID());
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
    std::vector<std::string> roles;
    EXPECT_TRUE(sampleUntil([&] {
        roles.clear();
        for (auto element = focus_->elementUnderPointer(); element != nullptr && roles.size() < 20;
             element = element->parent()) {
            roles.push_back(element->role().value_or(""));
        }
        return roles.size() >= 2 && roles.back() == "AXApplication";
    })) << testing::PrintToString(roles);
    desktop_->robot.moveTo(790, 590);
    EXPECT_TRUE(sampleUntil([&] { return focus_->elementUnderPointer() == nullptr; })) << "the bare screen";
}

TEST_F(FocusInputTest, FollowsTheKeyboardAndItsSelection) {
    const CGRect lineEdit = global(test::kLineEditContent);
    ASSERT_TRUE(sampleUntil([&] { return seesKeyboardAt("AXTextField", lineEdit); })) << lastSeen_;
    std::optional<CGRect> selection;
    ASSERT_TRUE(sampleUntil([&] {
        const auto element = focus_->focusedElement(desktop_->window->processID());
        if (element != nullptr) selection = element->selectedTextBounds();
        return selection.has_value();
    }));
    EXPECT_EQ(lineEdit.unionWith(*selection), lineEdit);
    EXPECT_GT(selection->width(), 20);
    EXPECT_LT(selection->width(), lineEdit.width() * 0.6) << "one of three words";

    // The button gives the text edit the focus; that comes as an event.
    pointAt(global(test::kButtonContent));
    desktop_->robot.setButton(1, true);
    desktop_->robot.setButton(1, false);
    EXPECT_TRUE(sampleUntil([&] { return seesKeyboardAt("AXTextArea", global(test::kTextEditContent)); }))
        << lastSeen_;
    std::unique_ptr<AccessibilityElement> textEdit;
    ASSERT_TRUE(sampleUntil([&] {
        textEdit = focus_->focusedElement(desktop_->window->processID());
        return textEdit != nullptr;
    }));
    EXPECT_EQ(textEdit->selectedTextBounds(), std::nullopt);
}

TEST_F(FocusInputTest, ProgramThatHangsTakesLittleTime) {
    const CGRect button = global(test::kButtonContent);
    pointAt(button);
    ASSERT_TRUE(sampleUntil([&] { return seesUnderPointer("AXButton", button); })) << lastSeen_;
    desktop_->window->freeze();
    const auto begin = std::chrono::steady_clock::now();
    constexpr int kSamples = 20;
    for (int i = 0; i < kSamples; ++i) {
        focus_->beginSample();
        EXPECT_TRUE(focus_->windowFrame(desktop_->window->processID()).has_value())
            << "windows are told without it";
        const auto pointed = focus_->elementUnderPointer();
        EXPECT_TRUE(pointed == nullptr || !pointed->frame().has_value());
        EXPECT_EQ(focus_->focusedElement(desktop_->window->processID()), nullptr);
    }
    // Asked in vain once a second, at a tenth of a second each. A call that waited for as long as the
    // library's own default would take 25 seconds.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
    desktop_->window->thaw();
    EXPECT_TRUE(sampleUntil([&] { return seesUnderPointer("AXButton", button); })) << lastSeen_;
}

TEST_F(FocusInputTest, BusThatDiesTakesTheElementsOnlyUntilItReturns) {
    const CGRect button = global(test::kButtonContent);
    pointAt(button);
    ASSERT_TRUE(sampleUntil([&] { return seesUnderPointer("AXButton", button); })) << lastSeen_;
    desktop_->session->endService();
    EXPECT_TRUE(sampleUntil([&] { return focus_->elementUnderPointer() == nullptr; }));
    EXPECT_TRUE(focus_->windowFrame(desktop_->window->processID()).has_value());
    desktop_->session->startService();
    // The toolkit doesn't look for a new bus, but a new program finds it.
    desktop_->window = std::make_unique<test::AccessibleWindow>(desktop_->server);
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
    ASSERT_TRUE(test::waitUntil(
        [&] {
            focus->beginSample();
            return focus->frontmostProcess() == window.processID();
        },
        test::kPatience));
    EXPECT_EQ(focus->windowFrame(window.processID()),
              (CGRect{{test::kWindowContent.x, test::kWindowContent.y},
                      {test::kWindowContent.width, test::kWindowContent.height}}));
    EXPECT_EQ(focus->elementUnderPointer(), nullptr);
    EXPECT_EQ(focus->focusedElement(window.processID()), nullptr);
}

}  // namespace
}  // namespace varnelle
