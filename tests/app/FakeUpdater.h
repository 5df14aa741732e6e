#pragma once

#include "app/Updater.h"

namespace varnelle::test {

/// Counts what it is asked for.
class FakeUpdater final : public Updater {
public:
    void setAutomaticallyChecksForUpdates(bool automatic) override { isAutomatic = automatic; }
    void checkForUpdatesInBackground() override { ++backgroundChecks; }
    void checkForUpdates() override { ++checks; }
    bool canCheckForUpdates() const override { return canCheck; }

    void setCanCheck(bool can) {
        canCheck = can;
        if (onCanCheckForUpdatesChange) onCanCheckForUpdatesChange();
    }

    bool isAutomatic = false;
    int backgroundChecks = 0;
    int checks = 0;
    bool canCheck = false;
};

}  // namespace varnelle::test
