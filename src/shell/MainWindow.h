#pragma once

#include <QQuickView>

#include "app/AppState.h"
#include "foundation/UserDefaults.h"

namespace varnelle {

/// The window of the editor and the export view. Its frame is remembered between runs. It isn't closed by
/// itself: closing it asks the application's state. Main thread.
class MainWindow final : public QQuickView {
    Q_OBJECT

public:
    /// All must outlive the window. `properties` are the root item's.
    MainWindow(QQmlEngine& engine, AppState& app, UserDefaults& defaults, const QVariantMap& properties);
    ~MainWindow() override;

    /// Ends the editing of a text, which commits what was typed.
    void commitText();

private:
    bool event(QEvent* event) override;
    void restoreFrame();
    void saveFrame();

    AppState& app_;
    UserDefaults& defaults_;
};

}  // namespace varnelle
