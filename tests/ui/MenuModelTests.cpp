#include "ui/MenuModel.h"

#include <gtest/gtest.h>

#include <QSignalSpy>

namespace varnelle {
namespace {

MenuItem line(const QString& text, std::function<void()> action = {}) {
    MenuItem item;
    item.text = text;
    item.action = std::move(action);
    return item;
}

TEST(MenuModel, ArrowsGoRoundAndPassWhatCannotBeChosen) {
    MenuModel menu;
    EXPECT_EQ(menu.nextRow(-1, 1), -1);
    menu.setItems(
        {MenuItem::separator(), line("a"), MenuItem::note("only text"), line("b"), MenuItem::separator()});
    EXPECT_EQ(menu.nextRow(-1, 1), 1);
    EXPECT_EQ(menu.nextRow(-1, -1), 3);
    EXPECT_EQ(menu.nextRow(1, 1), 3);
    EXPECT_EQ(menu.nextRow(3, 1), 1);
    EXPECT_EQ(menu.nextRow(1, -1), 3);
    menu.setItems({MenuItem::separator(), MenuItem::note("only text")});
    EXPECT_EQ(menu.nextRow(-1, 1), -1);
    EXPECT_EQ(menu.nextRow(-1, -1), -1);
}

TEST(MenuModel, ChoosesOnlyWhatCanBeChosen) {
    MenuModel menu;
    int chosen = 0;
    MenuItem disabled = line("disabled", [&] { chosen += 100; });
    disabled.isEnabled = false;
    // The action replaces the very items that it belongs to.
    const auto choose = [&menu, &chosen, by = 1] {
        menu.setItems({});
        chosen += by;
    };
    menu.setItems({disabled, MenuItem::separator(), line("nothing to do"), line("enabled", choose)});
    for (const int row : {-1, 0, 1, 2, 4}) menu.trigger(row);
    EXPECT_EQ(chosen, 0);
    menu.trigger(3);
    EXPECT_EQ(chosen, 1);
    EXPECT_EQ(menu.rowCount(), 0);
}

TEST(MenuModel, AnOpenMenuIsOnlyDisturbedByWhatLooksDifferent) {
    MenuModel menu;
    int chosen = 0;
    menu.setItems({line("a", [&] { chosen = 1; })});
    const QSignalSpy resets(&menu, &MenuModel::modelReset);
    menu.setItems({line("a", [&] { chosen = 2; })});
    EXPECT_EQ(resets.count(), 0);
    menu.trigger(0);
    EXPECT_EQ(chosen, 2) << "what it does is new all the same";
    MenuItem checked = line("a");
    checked.isChecked = true;
    menu.setItems({checked});
    EXPECT_EQ(resets.count(), 1);
    EXPECT_EQ(menu.data(menu.index(0), MenuModel::IsCheckedRole), true);
}

}  // namespace
}  // namespace varnelle
