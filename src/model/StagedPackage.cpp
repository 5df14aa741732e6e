#include "model/StagedPackage.h"

#include <unistd.h>

#include <cerrno>
#include <unordered_map>

#include "foundation/AtomicFile.h"
#include "foundation/FileCopy.h"
#include "foundation/Log.h"
#include "foundation/StagingName.h"
#include "model/ProjectDocument.h"

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

AssetReferences referencesTo(const std::vector<URL>& sources) {
    const std::vector<std::string> names = assetNames(sources);
    AssetReferences references;
    for (std::size_t i = 0; i < sources.size(); ++i) {
        references[sources[i]] = std::string(kProjectAssetsDirectoryName) + "/" + names[i];
    }
    return references;
}

/// The copies are written to the disk while the next ones are made, and are all there in the end.
void importAssets(const AssetReferences& references, const std::vector<URL>& sources, const URL& package) {
    constexpr std::size_t mostOpenCopies = 64;
    std::vector<FileCopy> copies;
    const auto flushCopies = [&copies] {
        for (FileCopy& copy : copies) copy.flush();
        copies.clear();
    };
    for (const URL& source : sources) {
        if (copies.size() == mostOpenCopies) flushCopies();
        copies.emplace_back(source, package.appending(references.at(source)));
    }
    flushCopies();
    flushToDisk(package.appending(kProjectAssetsDirectoryName));
}

/// The staging name fits where the name itself may not.
void refuseLongName(const URL& destination) {
    std::error_code error;
    static_cast<void>(fs::symlink_status(destination.path(), error));
    if (error == std::errc::filename_too_long) {
        throw FileError("Writing", destination.string(), ENAMETOOLONG);
    }
}

/// Hidden names mean nothing to anyone: errors tell of the package that was to be.
[[noreturn]] void rethrowNaming(const URL& destination, const URL& staging, const FileError& error) {
    const std::string& path = error.path();
    if (!path.starts_with(staging.string())) throw error;
    throw FileError(error.action(), destination.string() + path.substr(staging.string().size()),
                    error.errorNumber());
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
    const std::string manifest = directory.appending(kProjectManifestFilename).string();
    if (unlink(manifest.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR)
        return {errno, std::generic_category()};
    std::error_code error;
    fs::remove_all(directory.path(), error);
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

// What can't be saved shows before anything is made, and before the media are copied.
StagedPackage::StagedPackage(const ProjectEditorState& state, const URL& destination)
    : destination_(destination) {
    const std::vector<URL> sources = collectSourceURLs(state);
    requireSources(sources);
    references_ = referencesTo(sources);
    manifest_ = makeDocument(state, references_, DocumentLayout::pretty);
    if (manifest_.size() > largestManifest()) {
        throw ProjectEncodingError(
            "The project can't be saved: its history takes more than half of this computer's memory.");
    }
    state_ = parsed(destination);
    createDirectories(destination.parent());
    lock_ = DirectoryLock::shared(destination.parent());
    refuseLongName(destination);
    staging_.emplace(stagingURL(destination));
    try {
        write(sources);
        verify();
    } catch (const FileError& error) {
        rethrowNaming(destination, staging_->url, error);
    }
}

StagedPackage::Directory::~Directory() {
    if (isOurs) static_cast<void>(discardPackage(url));  // the error that led here is the one to tell
}

ProjectEditorState StagedPackage::parsed(const URL& package) const {
    std::unordered_map<std::string, URL> places;
    for (const auto& [source, reference] : references_) places[reference] = package.appending(reference);
    return parseDocument(manifest_, package.lastPathComponent(),
                         package.appending(kProjectAssetsDirectoryName),
                         [&places](const std::string& reference) {
                             const auto found = places.find(reference);
                             if (found == places.end())
                                 throw ProjectPersistenceError::missingAsset(reference);
                             return found->second;
                         });
}

void StagedPackage::write(const std::vector<URL>& sources) {
    createDirectories(staging_->url.appending(kProjectAssetsDirectoryName));
    importAssets(references_, sources, staging_->url);
    writeFileAtomically(staging_->url.appending(kProjectManifestFilename), manifest_);
    flushToDisk(staging_->url);
}

/// What is there is what was parsed, and all its files can be found: it will open.
void StagedPackage::verify() const {
    if (readFile(staging_->url.appending(kProjectManifestFilename), manifest_.size()) != manifest_) {
        throw FileError("Writing", destination_.string(), EIO);
    }
    for (const auto& [source, reference] : references_) {
        static_cast<void>(resolveReference(staging_->url, reference));
    }
}

ProjectEditorState StagedPackage::stateAt(const URL& package) const {
    return package == destination_ ? state_ : parsed(package);
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
