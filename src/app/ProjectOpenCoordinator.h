#pragma once

#include <QPointer>
#include <vector>

#include "app/AppState.h"
#include "foundation/URL.h"

namespace varnelle {

/// Bridges the gap between the desktop's request to open files, which may come before the application's state
/// exists, and that state. Main thread only.
class ProjectOpenCoordinator {
public:
    /// Opens the packages among the files; others are dropped without a word. Without a state they wait.
    void open(const std::vector<URL>& urls);
    /// Hands over what has waited. The state isn't kept alive.
    void attach(AppState& appState);

private:
    QPointer<AppState> appState_;
    std::vector<URL> pendingURLs_;
};

}  // namespace varnelle
