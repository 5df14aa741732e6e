#include <gtest/gtest.h>

#include <QSignalSpy>

#include "support/ViewFixture.h"
#include "ui/MenuModel.h"

namespace varnelle {
namespace {

class MenuViewTest : public testing::Test {
protected:
    MenuModel* filledMenu() {
        menu.setItems({line("Disable Camera"), MenuItem::separator(), line("Webcam", true),
                       line("A camera with a name that is far too long for any menu to show in full, really"),
                       MenuItem::note("No windows found")});
        return &menu;
    }
    MenuItem line(const QString& text, bool isChecked = false) {
        MenuItem item;
        item.text = text;
        item.isChecked = isChecked;
        item.action = [this, text] { chosen = text.toStdString(); };
        return item;
    }
    std::string chosen;
    MenuModel menu;
    test::ShownView view{"Varnelle/Ui", "MenuView", {{"model", QVariant::fromValue(filledMenu())}}};
    QSignalSpy closed{&view.root(), SIGNAL(closed())};
};

TEST_F(MenuViewTest, KeysMoveChooseAndClose) {
    view.press(Qt::Key_Return);
    EXPECT_EQ(closed.count(), 1) << "nothing was chosen";
    EXPECT_EQ(chosen, "");
    view.press(Qt::Key_Down);
    view.press(Qt::Key_Down);
    view.picture("menu");
    view.press(Qt::Key_Space);
    EXPECT_EQ(chosen, "Webcam");
    view.press(Qt::Key_Home);
    view.press(Qt::Key_Up);
    view.press(Qt::Key_Enter);
    EXPECT_TRUE(chosen.rfind("A camera", 0) == 0) << "round the end, past what can't be chosen";
    chosen.clear();
    view.press(Qt::Key_Escape);
    EXPECT_EQ(closed.count(), 4);
    EXPECT_EQ(chosen, "");
}

TEST_F(MenuViewTest, ThePointerChooses) {
    const double lineHeight = 28;
    QTest::mouseClick(&view.window, Qt::LeftButton, {}, {40, static_cast<int>(6 + 0.5 * lineHeight)});
    EXPECT_EQ(chosen, "Disable Camera");
    EXPECT_EQ(closed.count(), 1);
    const int bottom = static_cast<int>(view.root().height());
    QTest::mouseClick(&view.window, Qt::LeftButton, {}, {40, bottom - 20});
    EXPECT_EQ(closed.count(), 1) << "a note can't be chosen";
}

TEST_F(MenuViewTest, IsAsLargeAsItsLinesWithinBounds) {
    EXPECT_GT(view.root().width(), 300);
    EXPECT_LT(view.root().width(), 420) << "a long name is cut";
    const double before = view.root().height();
    menu.setItems({line("One")});
    EXPECT_EQ(view.root().height(), 28 + 12);
    EXPECT_LT(view.root().height(), before);
    EXPECT_LT(view.root().width(), 300);
    std::vector<MenuItem> many;
    for (int i = 0; i < 60; ++i) many.push_back(line(QString::number(i)));
    menu.setItems(many);
    EXPECT_EQ(view.root().height(), 480);
    view.press(Qt::Key_End);
    view.press(Qt::Key_Return);
    EXPECT_EQ(chosen, "59");
}

}  // namespace
}  // namespace varnelle
