#pragma once

#include <gtest/gtest.h>

#include <QColor>
#include <QQmlEngine>
#include <QQmlError>
#include <QQuickItem>
#include <QQuickView>
#include <QTest>
#include <QVariantMap>
#include <memory>

#include "ui/QmlModules.h"

namespace varnelle::test {

/// A view in a window of its own, played with pointer and keys. If VARNELLE_VIEW_PICTURES names a directory,
/// `picture` writes there what is seen.
class ShownView {
public:
    /// What shows where a view is transparent: bright, as a desktop may be.
    static constexpr QColor kDesktop{0xd8, 0xdd, 0xe6};

    /// `module` is as in "Varnelle/Ui"; `registration` is its register function unless it is that one. An
    /// empty size leaves the view its own.
    ShownView(const QString& module, const QString& view, const QVariantMap& properties, QSize size = {},
              void (*registration)() = nullptr) {
        prepareQmlEngine(engine_);
        if (registration != nullptr) keepQmlTypes(registration);
        // What a binding complains of is a fault, too.
        QObject::connect(&engine_, &QQmlEngine::warnings, &window, [](const QList<QQmlError>& warnings) {
            for (const QQmlError& warning : warnings) ADD_FAILURE() << warning.toString().toStdString();
        });
        window.setColor(kDesktop);
        window.setResizeMode(size.isEmpty() ? QQuickView::SizeViewToRootObject
                                            : QQuickView::SizeRootObjectToView);
        window.setInitialProperties(properties);
        window.setSource(QUrl("qrc:/qt/qml/" + module + "/" + view + ".qml"));
        if (!size.isEmpty()) window.resize(size);
        EXPECT_EQ(window.status(), QQuickView::Ready);
        for (const QQmlError& error : window.errors()) ADD_FAILURE() << error.toString().toStdString();
        bool isDrawn = false;
        const auto connection =
            QObject::connect(&window, &QQuickWindow::frameSwapped, &window, [&isDrawn] { isDrawn = true; });
        window.show();
        activate();
        EXPECT_TRUE(QTest::qWaitFor([&isDrawn] { return isDrawn; }));
        QObject::disconnect(connection);
    }

    /// Gives the window the keyboard, as the desktop does once another has gone.
    void activate() {
        window.requestActivate();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
    }
    [[nodiscard]] QQuickItem& root() { return *window.rootObject(); }
    /// The visible item with an object name; a test can't go on without it.
    [[nodiscard]] QQuickItem& item(const QString& objectName) {
        auto* found = root().findChild<QQuickItem*>(objectName);
        if (found == nullptr) throw std::runtime_error("There is no item " + objectName.toStdString());
        return *found;
    }
    void click(const QQuickItem& target) { QTest::mouseClick(&window, Qt::LeftButton, {}, middleOf(target)); }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(&window, key, modifiers);
    }
    [[nodiscard]] static QPoint middleOf(const QQuickItem& target) {
        return target.mapToScene(QPointF(target.width() / 2, target.height() / 2)).toPoint();
    }
    /// The object name of what has the keyboard.
    [[nodiscard]] QString focused() const {
        return window.activeFocusItem() ? window.activeFocusItem()->objectName() : QString();
    }
    void picture(const QString& name) {
        const QString directory = qEnvironmentVariable("VARNELLE_VIEW_PICTURES");
        if (directory.isEmpty()) return;
        EXPECT_TRUE(window.grabWindow().save(directory + "/" + name + ".png"));
    }

private:
    QQmlEngine engine_;

public:
    QQuickView window{&engine_, nullptr};
};

}  // namespace varnelle::test
