#pragma once

#include <QQuickView>

#include "app/AppState.h"
#include "capture_ui/PermissionsModel.h"

namespace varnelle {

/// The window that asks for what the program can't do without. Closing it without that quits. Main thread.
class PermissionsWindow final : public QQuickView {
    Q_OBJECT

public:
    /// All must outlive the window.
    PermissionsWindow(QQmlEngine& engine, AppState& app, PermissionsModel& model);

private:
    bool event(QEvent* event) override;

    AppState& app_;
    PermissionsModel& model_;
};

}  // namespace varnelle
