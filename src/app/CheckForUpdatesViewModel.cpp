#include "app/CheckForUpdatesViewModel.h"

namespace varnelle {

CheckForUpdatesViewModel::CheckForUpdatesViewModel(Updater& updater)
    : updater_(updater), _canCheckForUpdates(updater.canCheckForUpdates()) {
    updater_.onCanCheckForUpdatesChange = [this] {
        if (_canCheckForUpdates == updater_.canCheckForUpdates()) return;
        _canCheckForUpdates = updater_.canCheckForUpdates();
        emit canCheckForUpdatesChanged();
    };
}

CheckForUpdatesViewModel::~CheckForUpdatesViewModel() {
    updater_.onCanCheckForUpdatesChange = nullptr;
}

void CheckForUpdatesViewModel::checkForUpdates() {
    if (updater_.canCheckForUpdates()) updater_.checkForUpdates();
}

}  // namespace varnelle
