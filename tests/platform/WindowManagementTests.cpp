#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11Properties.h"
#include "platform/linux/X11Windows.h"
#include "support/PatternWindow.h"
#include "support/Waiting.h"
#include "support/XServer.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::PatternWindow;
using test::waitUntil;
using testing::Contains;
using testing::Not;

constexpr test::WindowProperties kManaged{.isManaged = true};
constexpr std::uint32_t kAllWorkspaces = 0xFFFFFFFF;

class WindowManagementTest : public testing::Test {
protected:
    void SetUp() override {
        if (!test::XServer::isAvailable()) GTEST_SKIP() << test::XServer::kMissing;
        server_ = std::make_unique<test::XServer>();
        desktop_ = std::make_unique<LinuxDesktop>(server_->displayName());
    }
    void start(bool hasManager) {
        if (hasManager) server_->startWindowManager();
        x_ = std::make_unique<X11Connection>(server_->displayName());
        management_ = desktop_->makeWindowManagement();
    }
    /// What a compositing manager does to be known as one.
    void setCompositingManager(xcb_window_t owner) {
        xcb_set_selection_owner(x_->get(), owner, x_->atom("_NET_WM_CM_S0"), XCB_CURRENT_TIME);
        xcb_flush(x_->get());
    }
    std::unique_ptr<PatternWindow> window(bool isShown = true) {
        test::WindowProperties properties = kManaged;
        properties.isShown = isShown;
        const int place = 20 + 30 * windowCount_++;
        return std::make_unique<PatternWindow>(server_->displayName(), place, place, 120, 90, properties);
    }
    std::unique_ptr<PatternWindow> panel(PanelLevel level) {
        auto result = window(false);
        management_->applyPanelBehaviour(result->windowID(), {.level = level});
        result->show();
        return result;
    }
    std::vector<std::uint32_t> numbers(std::uint32_t window, const char* property) {
        return X11Property(*x_, window, property).numbers();
    }
    bool hasState(std::uint32_t window, const char* name) {
        const auto states = numbers(window, "_NET_WM_STATE");
        return std::find(states.begin(), states.end(), x_->atom(name)) != states.end();
    }
    /// As the window manager says, which has carried out what it was asked.
    bool isPanel(std::uint32_t window) {
        return hasState(window, "_NET_WM_STATE_ABOVE") && hasState(window, "_NET_WM_STATE_SKIP_TASKBAR") &&
               hasState(window, "_NET_WM_STATE_SKIP_PAGER") &&
               numbers(window, "_NET_WM_DESKTOP") == std::vector{kAllWorkspaces};
    }
    bool isManaged(std::uint32_t window) { return !numbers(window, "WM_STATE").empty(); }
    /// Whether the windows lie on each other in this order, the lowest first; other windows don't count.
    bool areStacked(const std::vector<const PatternWindow*>& windows) {
        std::vector<std::uint32_t> expected;
        for (const PatternWindow* one : windows) expected.push_back(one->windowID());
        std::vector<std::uint32_t> seen;
        for (const std::uint32_t one : managedWindows(*x_)) {
            if (std::find(expected.begin(), expected.end(), one) != expected.end()) seen.push_back(one);
        }
        return seen == expected;
    }
    /// Whether they come to lie in this order.
    bool becomeStacked(const std::vector<const PatternWindow*>& windows) {
        return waitUntil([&] { return areStacked(windows); }, test::kPatience);
    }
    /// Returns once the window manager has dealt with all that happened before.
    void waitForManager() {
        auto fence = window();
        ASSERT_TRUE(waitUntil([&] { return isManaged(fence->windowID()); }, test::kPatience));
        fence->hide();
        ASSERT_TRUE(waitUntil([&] { return !isManaged(fence->windowID()); }, test::kPatience));
    }
    /// Clicks into the window, wherever the window manager has put it.
    void click(const PatternWindow& window) {
        const auto place = placeOfWindow(*x_, window.windowID());
        ASSERT_TRUE(place.has_value());
        test::PointerRobot robot(server_->displayName());
        robot.moveTo(place->client.left + 5, place->client.top + 5);
        robot.setButton(1, true);
        robot.setButton(1, false);
    }
    std::uint32_t activeWindow() {
        const auto active = numbers(x_->screen().root, "_NET_ACTIVE_WINDOW");
        return active.empty() ? 0 : active.front();
    }

    std::unique_ptr<test::XServer> server_;
    std::unique_ptr<LinuxDesktop> desktop_;
    std::unique_ptr<X11Connection> x_;
    std::unique_ptr<WindowManagement> management_;
    int windowCount_ = 0;
};

TEST_F(WindowManagementTest, PanelIsOneHoweverItIsShown) {
    start(true);
    const auto shown = window();
    ASSERT_TRUE(waitUntil([&] { return isManaged(shown->windowID()); }, test::kPatience));
    management_->applyPanelBehaviour(shown->windowID(), {});
    EXPECT_TRUE(waitUntil([&] { return isPanel(shown->windowID()); }, test::kPatience));

    const auto hidden = window(false);
    management_->applyPanelBehaviour(hidden->windowID(), {.level = PanelLevel::statusBar});
    hidden->show();
    EXPECT_TRUE(waitUntil([&] { return isManaged(hidden->windowID()) && isPanel(hidden->windowID()); },
                          test::kPatience));
    EXPECT_THAT(numbers(hidden->windowID(), "_NET_WM_WINDOW_TYPE"),
                Contains(x_->atom("_NET_WM_WINDOW_TYPE_DOCK")));

    // Hidden and shown again, by a toolkit that writes the states anew meanwhile.
    hidden->hide();
    ASSERT_TRUE(waitUntil([&] { return !isManaged(hidden->windowID()); }, test::kPatience));
    xcb_delete_property(x_->get(), hidden->windowID(), x_->atom("_NET_WM_STATE"));
    xcb_delete_property(x_->get(), hidden->windowID(), x_->atom("_NET_WM_DESKTOP"));
    (void)numbers(hidden->windowID(), "_NET_WM_STATE");
    hidden->show();
    EXPECT_TRUE(waitUntil([&] { return isManaged(hidden->windowID()) && isPanel(hidden->windowID()); },
                          test::kPatience));

    const PanelBehaviour plain{.isOnAllWorkspaces = false, .isInTaskbarAndPager = true};
    management_->applyPanelBehaviour(shown->windowID(), plain);
    EXPECT_TRUE(waitUntil(
        [&] {
            return !hasState(shown->windowID(), "_NET_WM_STATE_SKIP_TASKBAR") &&
                   numbers(shown->windowID(), "_NET_WM_DESKTOP") == std::vector<std::uint32_t>{0};
        },
        test::kPatience))
        << "it can be changed";
}

/// With a window manager, and without.
class PanelOrderTest : public WindowManagementTest, public testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(Managers, PanelOrderTest, testing::Bool(),
                         [](const auto& manager) { return manager.param ? "openbox" : "none"; });

TEST_P(PanelOrderTest, LevelsKeepTheirOrder) {
    start(GetParam());
    const auto statusBar = panel(PanelLevel::statusBar);
    const auto floating = panel(PanelLevel::floating);
    const auto overlay = panel(PanelLevel::overlay);
    EXPECT_TRUE(becomeStacked({overlay.get(), floating.get(), statusBar.get()}));
    for (const auto* raised : {overlay.get(), floating.get()}) {
        desktop_->raiseWindow(raised->windowID());
        if (GetParam()) waitForManager();
        EXPECT_TRUE(becomeStacked({overlay.get(), floating.get(), statusBar.get()}));
    }
    management_->applyPanelBehaviour(statusBar->windowID(), {.level = PanelLevel::overlay});
    management_->applyPanelBehaviour(overlay->windowID(), {.level = PanelLevel::statusBar});
    EXPECT_TRUE(becomeStacked({statusBar.get(), floating.get(), overlay.get()}))
        << "a level that changes moves the panel";
    if (!GetParam()) return;
    const auto ordinary = window();
    desktop_->raiseWindow(ordinary->windowID());
    waitForManager();
    EXPECT_TRUE(becomeStacked({ordinary.get(), statusBar.get(), floating.get(), overlay.get()}));
}

TEST_P(PanelOrderTest, WindowGoesDirectlyBelowAnother) {
    start(GetParam());
    const auto lowest = window();
    const auto middle = window();
    const auto topmost = window();
    ASSERT_TRUE(becomeStacked({lowest.get(), middle.get(), topmost.get()}));
    management_->orderBelow(topmost->windowID(), middle->windowID());
    EXPECT_TRUE(becomeStacked({lowest.get(), topmost.get(), middle.get()}));
    management_->orderBelow(lowest->windowID(), middle->windowID());
    EXPECT_TRUE(becomeStacked({topmost.get(), lowest.get(), middle.get()})) << "upwards as well";
}

TEST_F(WindowManagementTest, ClickGivesTheKeyboardToPanelsThatWantIt) {
    start(true);
    const auto ordinary = window();
    const auto quiet = window(false);
    management_->applyPanelBehaviour(quiet->windowID(), {});
    quiet->show();
    const auto eager = window(false);
    management_->applyPanelBehaviour(eager->windowID(), {.takesKeyboardWhenClicked = true});
    eager->show();
    waitForManager();
    desktop_->raiseWindow(ordinary->windowID());
    ASSERT_TRUE(waitUntil([&] { return activeWindow() == ordinary->windowID(); }, test::kPatience));
    click(*quiet);
    // Dealt with after the click, and no new window that would get the keyboard.
    management_->applyPanelBehaviour(quiet->windowID(), {.isInTaskbarAndPager = true});
    ASSERT_TRUE(
        waitUntil([&] { return !hasState(quiet->windowID(), "_NET_WM_STATE_SKIP_PAGER"); }, test::kPatience));
    EXPECT_EQ(activeWindow(), ordinary->windowID());
    click(*eager);
    EXPECT_TRUE(waitUntil([&] { return activeWindow() == eager->windowID(); }, test::kPatience));
}

TEST_F(WindowManagementTest, KnowsWhetherWindowsAreComposited) {
    start(false);
    const auto becomes = [&](bool expected) {
        return waitUntil([&] { return management_->isCompositing() == expected; }, test::kPatience);
    };
    EXPECT_FALSE(management_->isCompositing());
    const auto manager = window();
    setCompositingManager(manager->windowID());
    EXPECT_TRUE(becomes(true));
    EXPECT_TRUE(desktop_->makeWindowManagement()->isCompositing());
    setCompositingManager(XCB_WINDOW_NONE);
    EXPECT_TRUE(becomes(false));
}

TEST_F(WindowManagementTest, DisplayThatHangsOrIsGoneHoldsUpNobody) {
    start(false);
    const auto overlay = panel(PanelLevel::overlay);
    server_->freeze();
    const auto begin = std::chrono::steady_clock::now();
    management_->applyPanelBehaviour(overlay->windowID(), {});
    management_->orderBelow(overlay->windowID(), x_->screen().root);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
    management_ = nullptr;
    server_->thaw();
    management_ = desktop_->makeWindowManagement();
    server_->kill();
    management_->applyPanelBehaviour(4711, {});
    management_->orderBelow(4711, 4712);
}

}  // namespace
}  // namespace varnelle
