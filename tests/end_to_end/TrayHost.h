#pragma once

#include <QThread>
#include <memory>

namespace varnelle::test {

/// A desktop's tray on the session bus, without a picture: programs announce their items to it
/// (StatusNotifierWatcher, https://www.freedesktop.org/wiki/Specifications/StatusNotifierItem/).
class TrayHost {
public:
    TrayHost();
    ~TrayHost();

    /// Waits for an item and clicks on it; false if none comes.
    [[nodiscard]] bool activateItem() const;

private:
    class Watcher;
    std::unique_ptr<Watcher> watcher_;
    QThread thread_;
};

}  // namespace varnelle::test
