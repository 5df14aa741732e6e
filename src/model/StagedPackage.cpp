#include "model/StagedPackage.h"

#include <cerrno>

#include "foundation/AtomicFile.h"
#include "foundation/FileCopy.h"
#include "foundation/Log.h"
#include "foundation/StagingName.h"
#include "model/ProjectDocument.h"
#include "model/ProjectPackage.h"

namespace varnelle {
namespace {

namespace fs = std::filesystem;

void requireSources(const std::vector<URL>& sources) {
    for (const URL& source : sources) {
        std::error_code error;  // only what is certainly not there is missing; the copy meets the rest
        if (fs::status(source.path(), error).type() == fs::file_type::not_found) {
            throw ProjectPersistenceError::missingAsset(source.lastPathComponent());
        }
    }
}

void createDirectories(const URL& url) {
    std::error_code error;
    const bool isNew = std::filesystem::create_directories(url.path(), error);
    if (error) throw FileError("Creating the folder", url.string(), error.value());
    if (isNew) flushDirectoryEntry(url);
}

/// The copies are written to the disk while the next ones are made, and are all there in the end.
AssetReferences importAssets(const std::vector<URL>& sources, const URL& directory) {
    constexpr std::size_t mostOpenCopies = 64;
    const std::vector<std::string> names = assetNames(sources);
    AssetReferences references;
    std::vector<FileCopy> copies;
    const auto flushCopies = [&copies] {
        for (FileCopy& copy : copies) copy.flush();
        copies.clear();
    };
    for (std::size_t i = 0; i < sources.size(); ++i) {
        if (copies.size() == mostOpenCopies) flushCopies();
        copies.emplace_back(sources[i], directory.appending(names[i]));
        references[sources[i]] = std::string(kProjectAssetsDirectoryName) + "/" + names[i];
    }
    flushCopies();
    flushToDisk(directory);
    return references;
}

void removeReplaced(const URL& package) {
    if (const std::error_code error = discardPackage(package)) {
        logger(LogCategory::app)
            .warn("What was replaced stays as “{}”: {}.", package.string(), error.message());
    }
}

}  // namespace

URL packageBehind(const URL& url) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(url.path(), error);
    if (status.type() == fs::file_type::none) throw FileError("Saving", url.string(), error.value());
    if (status.type() != fs::file_type::symlink) return url;
    const fs::path target = fs::canonical(url.path(), error);
    if (error == std::errc::no_such_file_or_directory) return url;
    if (error) throw FileError("Saving", url.string(), error.value());
    return URL(target);
}

std::error_code discardPackage(const URL& directory) {
    std::error_code error;
    fs::remove(directory.appending(kProjectManifestFilename).path(), error);
    if (!error) fs::remove_all(directory.path(), error);
    return error;
}

void retirePackage(const URL& package) {
    try {
        if (fs::is_symlink(package.path())) {
            fs::remove(package.path());
            return;
        }
        const DirectoryLock lock = DirectoryLock::shared(package.parent());
        const URL aside = stagingURL(package);
        if (moveDirectory(package, aside)) removeReplaced(aside);
    } catch (const std::exception& error) {
        logger(LogCategory::app)
            .warn("“{}” stays after its project was renamed: {}", package.string(), error.what());
    }
}

StagedPackage::StagedPackage(const ProjectEditorState& state, const URL& destination) {
    const std::vector<URL> sources = collectSourceURLs(state);
    requireSources(sources);  // before anything is made
    createDirectories(destination.parent());
    lock_ = DirectoryLock::shared(destination.parent());
    staging_.emplace(stagingURL(destination));
    write(state, sources);
}

StagedPackage::Directory::~Directory() {
    if (isOurs) static_cast<void>(discardPackage(url));  // the error that led here is the one to tell
}

void StagedPackage::write(const ProjectEditorState& state, const std::vector<URL>& sources) {
    const URL assets = staging_->url.appending(kProjectAssetsDirectoryName);
    createDirectories(assets);
    const AssetReferences references = importAssets(sources, assets);
    writeFileAtomically(staging_->url.appending(kProjectManifestFilename),
                        makeDocument(state, references, DocumentLayout::pretty));
    flushToDisk(staging_->url);
}

ProjectEditorState StagedPackage::readAs(const URL& package) const {
    return readPackage(staging_->url, package);
}

bool StagedPackage::moveTo(const URL& package) {
    if (!moveDirectory(staging_->url, package)) return false;
    staging_->isOurs = false;
    return true;
}

void StagedPackage::replace(const URL& package) {
    const std::optional<URL> replaced = replaceItem(package, staging_->url);
    staging_->isOurs = false;
    if (replaced) removeReplaced(*replaced);
}

}  // namespace varnelle
