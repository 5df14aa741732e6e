#include "app/ProjectOpenCoordinator.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "model/FileNames.h"
#include "model/ProjectPackage.h"

namespace varnelle {

void ProjectOpenCoordinator::open(const std::vector<URL>& urls) {
    std::vector<URL> packages;
    std::copy_if(urls.begin(), urls.end(), std::back_inserter(packages),
                 [](const URL& url) { return lowercased(url.pathExtension()) == kProjectPackageExtension; });
    if (packages.empty()) return;
    if (appState_) {
        appState_->openFiles(std::move(packages));
    } else {
        pendingURLs_.insert(pendingURLs_.end(), packages.begin(), packages.end());
    }
}

void ProjectOpenCoordinator::attach(AppState& appState) {
    appState_ = &appState;
    if (pendingURLs_.empty()) return;
    appState.openFiles(std::exchange(pendingURLs_, {}));
}

}  // namespace varnelle
