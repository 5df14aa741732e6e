#pragma once

#include <functional>

namespace varnelle {

/// Looks for newer versions of the program. Main thread.
class Updater {
public:
    virtual ~Updater() = default;
    virtual void setAutomaticallyChecksForUpdates(bool isAutomatic) = 0;
    /// Looks without a word to the user unless there is something new.
    virtual void checkForUpdatesInBackground() = 0;
    /// Looks because the user asked, and says what it found.
    virtual void checkForUpdates() = 0;
    [[nodiscard]] virtual bool canCheckForUpdates() const = 0;
    /// Called whenever `canCheckForUpdates` may have changed.
    std::function<void()> onCanCheckForUpdatesChange;
};

/// Stands where no feed of updates is configured, as with a program that the distribution keeps up to date.
class FeedlessUpdater final : public Updater {
public:
    void setAutomaticallyChecksForUpdates(bool) override {}
    void checkForUpdatesInBackground() override {}
    void checkForUpdates() override {}
    [[nodiscard]] bool canCheckForUpdates() const override { return false; }
};

}  // namespace varnelle
