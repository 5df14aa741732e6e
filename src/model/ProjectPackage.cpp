#include "model/ProjectPackage.h"

#include <algorithm>
#include <climits>
#include <set>

#include "foundation/AtomicFile.h"
#include "foundation/DirectoryLock.h"
#include "foundation/FileCopy.h"
#include "foundation/StagingName.h"
#include "model/FileNames.h"
#include "model/ProjectDocument.h"

namespace varnelle {
namespace {

/// Far beyond any history: a step of 200 clips takes some 35 KB. More than this, read into memory, would be a
/// risk.
constexpr std::uint64_t kLargestManifest = std::uint64_t{1} << 30;

void addSources(const Project& project, std::set<URL>& sources) {
    const RecordingSession& session = project.recordingSession;
    sources.insert(session.screenRecordingURL);
    if (session.cameraRecordingURL) sources.insert(*session.cameraRecordingURL);
    if (session.cursorRecordingURL) sources.insert(*session.cursorRecordingURL);
    for (const TimelineTrack& track : project.timeline.tracks) {
        for (const TimelineClip& clip : track.clips) sources.insert(clip.sourceURL);
    }
}

/// Whether anything has this name, a link to nowhere included.
bool isTaken(const URL& url) {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::symlink_status(url.path(), error));
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
        std::error_code error;  // only what is certainly not there is missing; the copy meets the rest
        if (std::filesystem::status(sources[i].path(), error).type() ==
            std::filesystem::file_type::not_found) {
            throw ProjectPersistenceError::missingAsset(sources[i].lastPathComponent());
        }
        if (copies.size() == mostOpenCopies) flushCopies();
        copies.emplace_back(sources[i], directory.appending(names[i]));
        references[sources[i]] = std::string(kProjectAssetsDirectoryName) + "/" + names[i];
    }
    flushCopies();
    flushToDisk(directory);
    return references;
}

/// Whether a file really lies below a directory, links followed.
bool liesInside(const URL& file, const URL& directory) {
    std::error_code error;
    const auto realFile = std::filesystem::canonical(file.path(), error);
    if (error) return false;
    const auto realDirectory = std::filesystem::canonical(directory.path(), error);
    if (error) return false;
    return std::mismatch(realDirectory.begin(), realDirectory.end(), realFile.begin(), realFile.end())
               .first == realDirectory.end();
}

URL resolveReference(const URL& package, const std::string& reference) {
    // What no path can be is not looked for, and not shown at length either.
    const bool isPath =
        !reference.empty() && reference.size() < PATH_MAX && reference.find('\0') == std::string::npos;
    if (!isPath) throw ProjectPersistenceError::missingAsset(reference.substr(0, 64));
    URL url = package.appending(reference);
    std::error_code ignored;  // whatever keeps the file from being looked at, it can't be opened
    const bool isAsset = !std::filesystem::path(reference).is_absolute() &&
                         std::filesystem::is_regular_file(url.path(), ignored) && liesInside(url, package);
    if (!isAsset) throw ProjectPersistenceError::missingAsset(URL("/" + reference).lastPathComponent());
    return url;
}

/// Reads a package that is to be called `name` where something is wrong with it.
ProjectEditorState readPackage(const URL& package, const std::string& name) {
    const URL manifest = package.appending(kProjectManifestFilename);
    std::string document = readFile(manifest, kLargestManifest);
    if (!liesInside(manifest, package)) {
        throw ProjectDecodingError("The manifest of “" + name + "” is a link that leaves the package.");
    }
    return parseDocument(document, name, package.appending(kProjectAssetsDirectoryName),
                         [&](const std::string& reference) { return resolveReference(package, reference); });
}

}  // namespace

ProjectPersistenceError ProjectPersistenceError::invalidProject(const std::string& message) {
    return {Code::invalidProject, message};
}

ProjectPersistenceError ProjectPersistenceError::missingAsset(const std::string& name) {
    return {Code::missingAsset, "Varnelle couldn't find the asset “" + name + "” needed for this project."};
}

ProjectPersistenceError ProjectPersistenceError::noProject() {
    return {Code::noProject, "There is no project to save."};
}

URL defaultPackageURL(std::string_view name, const URL& homeDirectory) {
    std::string fileName(name);
    fileName.append(".").append(kProjectPackageExtension);
    return homeDirectory.appending(kProjectFolderName).appending(fileName);
}

URL uniquePackageURL(std::string_view name, const URL& homeDirectory) {
    URL url = defaultPackageURL(name, homeDirectory);
    for (int n = 2; isTaken(url); ++n) {
        url = defaultPackageURL(std::string(name) + " " + std::to_string(n), homeDirectory);
    }
    return url;
}

std::vector<URL> collectSourceURLs(const ProjectEditorState& state) {
    std::set<URL> sources;
    addSources(state.currentProject, sources);
    for (const Project& project : state.undoStack) addSources(project, sources);
    for (const Project& project : state.redoStack) addSources(project, sources);
    std::vector<URL> sorted(sources.begin(), sources.end());
    std::sort(sorted.begin(), sorted.end(),
              [](const URL& a, const URL& b) { return precedesNaturally(a.string(), b.string()); });
    return sorted;
}

std::vector<std::string> assetNames(const std::vector<URL>& sources) {
    std::set<std::string> used;
    std::vector<std::string> names;
    for (const URL& source : sources) {
        const std::string base = wellFormed(sanitizedFileName(source.stem(), "Asset"));
        const std::string extension =
            source.pathExtension().empty() ? "" : "." + wellFormed(source.pathExtension());
        std::string candidate = base + extension;
        for (int n = 2; !used.insert(lowercased(candidate)).second; ++n) {
            candidate = base;
            candidate.append(" ").append(std::to_string(n)).append(extension);
        }
        names.push_back(candidate);
    }
    return names;
}

URL writePackage(const ProjectEditorState& state, const URL& destination) {
    const URL parent = destination.parent();
    createDirectories(parent);
    const DirectoryLock lock = DirectoryLock::shared(parent);
    const URL staging = stagingURL(destination);
    try {
        const URL assets = staging.appending(kProjectAssetsDirectoryName);
        createDirectories(assets);
        const AssetReferences references = importAssets(collectSourceURLs(state), assets);
        writeFileAtomically(staging.appending(kProjectManifestFilename),
                            makeDocument(state, references, DocumentLayout::pretty));
        flushToDisk(staging);
        // What couldn't be opened again must not take the place of what can.
        static_cast<void>(readPackage(staging, destination.lastPathComponent()));
        replaceItem(destination, staging);
    } catch (...) {
        std::error_code ignored;  // the first error is the one to tell; the next start tidies up
        std::filesystem::remove_all(staging.path(), ignored);
        throw;
    }
    return destination;
}

ProjectEditorState readPackage(const URL& package) {
    return readPackage(package, package.lastPathComponent());
}

}  // namespace varnelle
