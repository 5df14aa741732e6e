#include <gtest/gtest.h>

#include <QColor>
#include <QFont>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickStyle>
#include <algorithm>
#include <cmath>
#include <memory>

#include "ui/QmlModules.h"
#include "ui/WindowBackground.h"

namespace varnelle {
namespace {

/// Relative luminance (WCAG 2.1).
double luminance(const QColor& color) {
    const auto linear = [](double part) {
        return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double contrast(const QColor& one, const QColor& other) {
    const auto [low, high] = std::minmax({luminance(one), luminance(other)});
    return (high + 0.05) / (low + 0.05);
}

class ThemeTest : public testing::Test {
protected:
    void SetUp() override {
        prepareQmlEngine(engine_);
        QQmlComponent component(&engine_);
        component.setData("import QtQml; import Varnelle.Ui; QtObject { property QtObject theme: Theme }",
                          {});
        holder_.reset(component.create());
        ASSERT_NE(holder_, nullptr) << component.errorString().toStdString();
    }
    [[nodiscard]] QQmlEngine& engine() { return engine_; }
    [[nodiscard]] const QObject& theme() { return *holder_->property("theme").value<QObject*>(); }
    [[nodiscard]] QColor color(const char* name) {
        const auto value = theme().property(name).value<QColor>();
        EXPECT_TRUE(value.isValid()) << name;
        return value;
    }

private:
    QQmlEngine engine_;
    std::unique_ptr<QObject> holder_;
};

TEST_F(ThemeTest, TextsStandOutFromEverySurface) {
    struct Pair {
        std::vector<const char*> texts, surfaces;
    };
    for (const auto& [texts, surfaces] : {
             Pair{{"text", "secondaryText"},
                  {"canvas", "window", "panel", "raised", "hovered", "pressed", "menu"}},
             Pair{{"disabledText"}, {"canvas", "window", "panel", "raised", "menu"}},
             Pair{{"text"}, {"accent", "accentHovered", "accentPressed"}},
             Pair{{"recording", "success", "warning", "focusRing"}, {"window", "panel", "raised"}},
         }) {
        for (const char* text : texts) {
            for (const char* surface : surfaces)
                EXPECT_GE(contrast(color(text), color(surface)), 4.5) << text << " on " << surface;
        }
    }
    // The desktop beneath a floating panel may be white.
    const QColor floating = color("floating");
    const auto over = [&](double part) { return part * floating.alphaF() + 1 - floating.alphaF(); };
    const QColor brightest = QColor::fromRgbF(static_cast<float>(over(floating.redF())),
                                              static_cast<float>(over(floating.greenF())),
                                              static_cast<float>(over(floating.blueF())));
    for (const char* text : {"text", "secondaryText"})
        EXPECT_GE(contrast(color(text), brightest), 4.5) << text;
}

TEST_F(ThemeTest, TheToolkitsDialogsLookAlike) {
    QQmlComponent component(&engine());
    component.setData("import QtQuick.Controls; Control {}", {});
    const std::unique_ptr<QObject> control(component.create());
    ASSERT_NE(control, nullptr) << component.errorString().toStdString();
    const QObject* const palette = control->property("palette").value<QObject*>();
    for (const auto& [role, name] : {std::pair{"window", "panel"},
                                     {"windowText", "text"},
                                     {"base", "canvas"},
                                     {"text", "text"},
                                     {"placeholderText", "secondaryText"},
                                     {"button", "pressed"},
                                     {"buttonText", "text"},
                                     {"light", "raised"},
                                     {"midlight", "hovered"},
                                     {"highlight", "accent"},
                                     {"highlightedText", "text"},
                                     {"link", "focusRing"}}) {
        EXPECT_EQ(palette->property(role).value<QColor>().name().toStdString(),
                  color(name).name().toStdString())
            << role;
    }
    const QFont font = control->property("font").value<QFont>();
    EXPECT_EQ(font.family(), theme().property("family").toString());
    EXPECT_EQ(font.pixelSize(), theme().property("body").toInt());
    EXPECT_EQ(kWindowBackground, color("window"));
    EXPECT_EQ(QQuickStyle::name(), "Fusion") << "the other styles paint parts of dialogs white";
}

}  // namespace
}  // namespace varnelle
