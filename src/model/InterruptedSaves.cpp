#include "model/InterruptedSaves.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <vector>

#include "foundation/AtomicFile.h"
#include "foundation/DirectoryLock.h"
#include "foundation/Log.h"
#include "foundation/StagingName.h"
#include "model/ProjectPackage.h"

namespace varnelle {
namespace {

namespace fs = std::filesystem;

struct Leftover {
    URL url;
    URL package;
    fs::file_time_type savedAt = fs::file_time_type::min();
};

std::vector<Leftover> leftovers(const URL& directory) {
    std::vector<Leftover> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory.path())) {
        const URL url(entry.path());
        const auto package = destinationOfStaging(url);
        if (!package || package->pathExtension() != kProjectPackageExtension) continue;
        if (!fs::is_directory(entry.symlink_status())) continue;
        std::error_code ignored;  // without a manifest it stays the oldest
        const auto savedAt = fs::last_write_time(url.appending(kProjectManifestFilename).path(), ignored);
        found.push_back({url, *package, savedAt});
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

void finish(const Leftover& leftover) {
    spdlog::logger& log = logger(LogCategory::app);
    const bool isWhole = isWholePackage(leftover.url);
    const bool isPackageThere = fs::exists(fs::symlink_status(leftover.package.path()));
    if (isWhole && !isPackageThere) {
        if (std::rename(leftover.url.string().c_str(), leftover.package.string().c_str()) != 0) {
            throw FileError("Bringing back", leftover.package.string(), errno);
        }
        flushDirectoryEntry(leftover.package);
        log.info("Brought back “{}”, the save of which had been interrupted.", leftover.package.string());
    } else if (isWhole && !isWholePackage(leftover.package)) {
        log.warn("“{}” is damaged; an interrupted save left a whole one as “{}”.", leftover.package.string(),
                 leftover.url.string());
    } else {
        fs::remove_all(leftover.url.path());
        log.info("Removed “{}”, left by an interrupted save.", leftover.url.string());
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
