#include <gtest/gtest.h>

#include <QColor>
#include <QQmlComponent>
#include <QQmlEngine>
#include <algorithm>
#include <cmath>

#include "ui/QmlModules.h"

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

TEST(ThemeTest, TextsStandOutFromEverySurface) {
    QQmlEngine engine;
    prepareQmlEngine(engine);
    QQmlComponent component(&engine);
    component.setData("import QtQml; import Varnelle.Ui; QtObject { property QtObject theme: Theme }", {});
    const std::unique_ptr<QObject> holder(component.create());
    ASSERT_NE(holder, nullptr) << component.errorString().toStdString();
    const auto* theme = holder->property("theme").value<QObject*>();
    const auto color = [&](const char* name) {
        const auto value = theme->property(name).value<QColor>();
        EXPECT_TRUE(value.isValid()) << name;
        return value;
    };
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

}  // namespace
}  // namespace varnelle
