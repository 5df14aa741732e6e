#include "model/InterruptedSaves.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "foundation/DirectoryLock.h"
#include "foundation/FileCopy.h"
#include "foundation/Log.h"
#include "foundation/StagingName.h"
#include "model/ProjectPackage.h"
#include "model/StagedPackage.h"

namespace varnelle {
namespace {

namespace fs = std::filesystem;

struct Leftover {
    URL url;
    URL package;
    bool mayBeAnothers = false;  ///< the package may only have a name that begins the same
    fs::file_time_type savedAt = fs::file_time_type::min();
};

std::vector<Leftover> leftovers(const URL& directory) {
    std::vector<Leftover> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory.path())) {
        const URL url(entry.path());
        const auto name = parseStagingName(url);
        if (!name || name->destination.pathExtension() != kProjectPackageExtension) continue;
        if (!fs::is_directory(entry.symlink_status())) continue;
        std::error_code ignored;  // without a manifest it stays the oldest
        const auto savedAt = fs::last_write_time(url.appending(kProjectManifestFilename).path(), ignored);
        found.push_back({url, name->destination, name->mayBeCut, savedAt});
    }
    std::sort(found.begin(), found.end(),
              [](const Leftover& a, const Leftover& b) { return a.savedAt > b.savedAt; });
    return found;
}

bool isWholePackage(const URL& url) {
    try {
        static_cast<void>(readPackage(url));
        return true;
    } catch (const Error&) {
        return false;
    }
}

/// Whether there is certainly no manifest: it is written last and removed first, so that nothing without one
/// is anybody's work.
bool hasNoManifest(const URL& url) {
    struct stat status {};
    return lstat(url.appending(kProjectManifestFilename).string().c_str(), &status) != 0 && errno == ENOENT;
}

void bringBack(const Leftover& leftover) {
    spdlog::logger& log = logger(LogCategory::app);
    if (moveDirectory(leftover.url, leftover.package)) {
        log.info("Brought back “{}”, the save of which had been interrupted.", leftover.package.string());
    }
}

void remove(const Leftover& leftover) {
    spdlog::logger& log = logger(LogCategory::app);
    if (const std::error_code error = discardPackage(leftover.url))
        throw FileError("Removing", leftover.url.string(), error.value());
    log.info("Removed “{}”, left by an interrupted save.", leftover.url.string());
}

/// What can't be read may only be out of reach just now, so nothing goes that could be the last of a project.
void finish(const Leftover& leftover) {
    const bool isPackageThere = fs::exists(fs::symlink_status(leftover.package.path()));
    const bool isSuperseded = isPackageThere && !leftover.mayBeAnothers && isWholePackage(leftover.package);
    if (hasNoManifest(leftover.url) || isSuperseded) {
        remove(leftover);
    } else if (!isPackageThere && isWholePackage(leftover.url)) {
        bringBack(leftover);
    } else {
        logger(LogCategory::app)
            .warn("“{}”, left by an interrupted save, stays: “{}” can't be opened or isn't there.",
                  leftover.url.string(), leftover.package.string());
    }
}

}  // namespace

void finishInterruptedSaves(const URL& directory) {
    const auto report = [&directory](const std::exception& error) {
        logger(LogCategory::app)
            .warn("An interrupted save in “{}” stays as it is: {}", directory.string(), error.what());
    };
    try {
        if (!directory.exists()) return;
        const auto lock = DirectoryLock::tryExclusive(directory);
        if (!lock) return;
        for (const Leftover& leftover : leftovers(directory)) {
            try {
                finish(leftover);
            } catch (const std::exception& error) {
                report(error);
            }
        }
    } catch (const std::exception& error) {
        report(error);
    }
}

}  // namespace varnelle
