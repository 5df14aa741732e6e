#include "recording/ElementRules.h"

#include <gtest/gtest.h>

#include <deque>

#include "recording/FakeInputs.h"

namespace varnelle {
namespace {

using test::FakeElement;
using test::FakeElementHandle;

constexpr CGRect kRegion{{100, 50}, {200, 100}};

/// A chain of elements, innermost first, each the parent of the one before it.
class Chain {
public:
    explicit Chain(std::initializer_list<FakeElement> elements) : elements_(elements) {
        for (std::size_t i = 0; i + 1 < elements_.size(); ++i) elements_[i].parent = &elements_[i + 1];
    }
    FakeElement& operator[](std::size_t index) { return elements_[index]; }
    [[nodiscard]] std::unique_ptr<AccessibilityElement> innermost() const {
        return FakeElementHandle::of(&elements_.front());
    }
    [[nodiscard]] std::optional<std::string> roleReached() const {
        return interactiveElement(innermost())->role();
    }
    [[nodiscard]] std::optional<CGRect> grown(const CGRect& region = kRegion) const {
        return grownFrame(*innermost(), region);
    }

private:
    std::deque<FakeElement> elements_;
};

TEST(ElementRules, NormalisesToTheRegionWithYUpwards) {
    struct Case {
        CGPoint location;
        bool isInside;
        CGPoint expected;
    };
    for (const Case& c : {Case{{100, 50}, true, {0, 1}}, Case{{200, 100}, true, {0.5, 0.5}},
                          Case{{250, 75}, true, {0.75, 0.75}}, Case{{300, 150}, false, {1, 0}},
                          Case{{0, 250}, false, {-0.5, -1}}, Case{{301, 40}, true, {1, 1}}}) {
        EXPECT_EQ(normalizedPoint(c.location, kRegion, c.isInside), c.expected)
            << c.location.x << ", " << c.location.y;
    }
    EXPECT_EQ(normalizedPoint({3, 4}, {{0, 0}, {0, 10}}, false), (CGPoint{0.5, 0.5}));
}

TEST(ElementRules, NormalisedRectangleHasItsOriginAtTheBottomLeft) {
    EXPECT_EQ(normalizedRect({{150, 50}, {50, 25}}, kRegion), (CGRect{{0.25, 0.75}, {0.25, 0.25}}));
    EXPECT_EQ(normalizedRect(kRegion, kRegion), (CGRect{{0, 0}, {1, 1}}));
    EXPECT_EQ(normalizedRect(kRegion, {{0, 0}, {10, 0}}), std::nullopt);
}

TEST(ElementRules, KeysAreShortcutsBeforeTheyAreNavigation) {
    using Kind = CursorKeyboardActivityKind;
    EXPECT_EQ(keyboardActivityKind({}), Kind::typing);
    EXPECT_EQ(keyboardActivityKind({.isNavigationKey = true}), Kind::navigation);
    EXPECT_EQ(keyboardActivityKind({.hasCommand = true, .isNavigationKey = true}), Kind::shortcut);
    EXPECT_EQ(keyboardActivityKind({.hasControl = true}), Kind::shortcut);
    EXPECT_EQ(keyboardActivityKind({.hasAlternate = true}), Kind::shortcut);
}

TEST(ElementRules, ClimbsToTheNearestInteractiveElement) {
    const CGRect any{{0, 0}, {1, 1}};
    EXPECT_EQ(interactiveElement(nullptr), nullptr);
    EXPECT_EQ(Chain({{"AXButton", any}, {"AXLink", any}}).roleReached(), "AXButton");
    EXPECT_EQ(Chain({{"AXStaticText", any}, {"AXGroup", any}, {"AXLink", any}}).roleReached(), "AXLink");
    EXPECT_EQ(Chain({{"AXStaticText", any}, {"AXGroup", any}}).roleReached(), "AXGroup")
        << "the last one where there is no parent";
    EXPECT_EQ(Chain({{std::nullopt, any}, {"AXSlider", any}}).roleReached(), "AXSlider");
    EXPECT_EQ(
        Chain({{"1", any}, {"2", any}, {"3", any}, {"4", any}, {"AXWebArea", any}, {"6", any}}).roleReached(),
        "AXWebArea");
    EXPECT_EQ(
        Chain({{"1", any}, {"2", any}, {"3", any}, {"4", any}, {"5", any}, {"AXButton", any}}).roleReached(),
        "5")
        << "four steps at most";
    for (const char* role : {"AXTextField", "AXTextArea", "AXPopUpButton", "AXComboBox", "AXSearchField",
                             "AXCheckBox", "AXRadioButton", "AXToggle", "AXSplitter", "AXEditableText"}) {
        EXPECT_TRUE(isInteractiveRole(role)) << role;
    }
    for (const char* role : {"", "AXGroup", "AXWindow", "AXStaticText", "AXMenuItem", "axbutton"}) {
        EXPECT_FALSE(isInteractiveRole(role)) << role;
    }
}

TEST(ElementRules, GrowsByThreeParentsAtMost) {
    Chain chain{{"AXButton", CGRect{{100, 100}, {10, 10}}},
                {"AXGroup", CGRect{{90, 95}, {30, 20}}},
                {"AXGroup", CGRect{{105, 80}, {100, 10}}},
                {"AXGroup", CGRect{{50, 80}, {100, 100}}},
                {"AXGroup", CGRect{{0, 0}, {500, 500}}}};
    EXPECT_EQ(chain.grown(), (CGRect{{50, 80}, {155, 100}}));
    chain[3].frame = std::nullopt;
    EXPECT_EQ(chain.grown(), (CGRect{{90, 80}, {115, 35}})) << "a parent without a frame ends it";
    chain[2].role = std::nullopt;
    EXPECT_EQ(chain.grown(), (CGRect{{90, 80}, {115, 35}})) << "one without a role doesn't";
    chain[0].frame = std::nullopt;
    EXPECT_EQ(chain.grown(), std::nullopt);
}

TEST(ElementRules, StopsGrowingAtContainersOfAWindow) {
    for (const char* role : {"AXWindow", "AXApplication", "AXWebArea", "AXScrollArea"}) {
        const Chain chain{{"AXButton", CGRect{{10, 10}, {10, 10}}}, {role, CGRect{{0, 0}, {100, 100}}}};
        EXPECT_EQ(chain.grown(), (CGRect{{10, 10}, {10, 10}})) << role;
    }
}

TEST(ElementRules, GrowthHasALimitThatFollowsTheRegion) {
    struct Case {
        CGSize parent;
        CGRect region;
        bool grows;
    };
    const CGRect large{{0, 0}, {2000, 1500}};
    for (const Case& c :
         {Case{{900, 700}, kRegion, true}, Case{{901, 10}, kRegion, false}, Case{{10, 701}, kRegion, false},
          Case{{1200, 900}, large, true}, Case{{1201, 10}, large, false}, Case{{10, 901}, large, false},
          Case{{900, 700}, {}, true}}) {
        const Chain chain{{"AXButton", CGRect{{0, 0}, {5, 5}}}, {"AXGroup", CGRect{{0, 0}, c.parent}}};
        EXPECT_EQ(chain.grown(c.region)->size == c.parent, c.grows)
            << c.parent.width << " x " << c.parent.height;
    }
}

TEST(ElementRules, SelectedTextBelongsToTheFrame) {
    Chain chain{{"AXTextArea", CGRect{{10, 10}, {10, 10}}}, {"AXScrollArea", CGRect{{0, 0}, {100, 100}}}};
    chain[0].selection = CGRect{{15, 0}, {50, 4}};
    EXPECT_EQ(chain.grown(), (CGRect{{10, 0}, {55, 20}}));
    for (const CGRect& empty : {CGRect{{0, 0}, {0, 5}}, CGRect{{0, 0}, {5, 0}}, CGRect{{0, 0}, {-5, 5}}}) {
        chain[0].selection = empty;
        EXPECT_EQ(chain.grown(), (CGRect{{10, 10}, {10, 10}}));
    }
    chain[0].frame = std::nullopt;
    chain[0].selection = CGRect{{15, 0}, {50, 4}};
    EXPECT_EQ(chain.grown(), std::nullopt);
}

TEST(ElementRules, ContextHoldsWhatCanBeHad) {
    test::FakeFocusInput focus;
    EXPECT_EQ(readWindowContext(focus, kRegion), std::nullopt) << "no front application";
    focus.setState({.process = 7});
    EXPECT_EQ(readWindowContext(focus, kRegion), WindowContext{});
    Chain chain{{"AXImage", CGRect{{110, 60}, {2, 2}}},
                {"AXButton", CGRect{{110, 60}, {20, 10}}},
                {"AXWindow", CGRect{{100, 50}, {200, 100}}}};
    const FakeElement frameless("AXTextField", std::nullopt);
    focus.setState(
        {.process = 7, .windowFrame = kRegion, .underPointer = &chain[0], .withKeyboard = &frameless});
    const auto context = readWindowContext(focus, kRegion);
    ASSERT_TRUE(context.has_value());
    EXPECT_EQ(context->windowFrame, kRegion) << "still in points";
    EXPECT_EQ(context->focusedElementRole, "AXButton");
    EXPECT_EQ(context->focusedElementFrame, normalizedRect({{110, 60}, {20, 10}}, kRegion));
    EXPECT_EQ(context->keyboardFocusedElementRole, "AXTextField");
    EXPECT_EQ(context->keyboardFocusedElementFrame, std::nullopt);
    const auto without = readWindowContext(focus, {});
    EXPECT_EQ(without->focusedElementFrame, std::nullopt) << "a region without area";
    EXPECT_EQ(without->focusedElementRole, "AXButton");
}

}  // namespace
}  // namespace varnelle
