#include "model/ProjectPackage.h"

#include <algorithm>
#include <cerrno>
#include <set>

#include "foundation/AtomicFile.h"
#include "foundation/FileCopy.h"
#include "model/FileNames.h"
#include "model/ProjectDocument.h"

namespace varnelle {
namespace {

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
    std::filesystem::create_directories(url.path(), error);
    if (error) throw FileError("Creating the folder", url.string(), error.value());
}

AssetReferences importAssets(const std::vector<URL>& sources, const URL& directory) {
    const std::vector<std::string> names = assetNames(sources);
    AssetReferences references;
    for (std::size_t i = 0; i < sources.size(); ++i) {
        if (!sources[i].exists()) throw ProjectPersistenceError::missingAsset(sources[i].lastPathComponent());
        copyFile(sources[i], directory.appending(names[i]));
        references[sources[i]] = std::string(kProjectAssetsDirectoryName) + "/" + names[i];
    }
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
    URL url = package.appending(reference);
    std::error_code ignored;  // whatever keeps the file from being looked at, it can't be opened
    const bool isAsset = !reference.empty() && !std::filesystem::path(reference).is_absolute() &&
                         std::filesystem::is_regular_file(url.path(), ignored) && liesInside(url, package);
    if (!isAsset) throw ProjectPersistenceError::missingAsset(URL("/" + reference).lastPathComponent());
    return url;
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
        const std::string base = sanitizedFileName(source.stem(), "Asset");
        const std::string extension = source.pathExtension().empty() ? "" : "." + source.pathExtension();
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
    const URL staging =
        parent.appending("." + destination.lastPathComponent() + "-" + UUID::random().string());
    try {
        const URL assets = staging.appending(kProjectAssetsDirectoryName);
        createDirectories(assets);
        const AssetReferences references = importAssets(collectSourceURLs(state), assets);
        writeFileAtomically(staging.appending(kProjectManifestFilename),
                            makeDocument(state, references, DocumentLayout::pretty));
        replaceItem(destination, staging);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove_all(staging.path(), ignored);
        throw;
    }
    return destination;
}

ProjectEditorState readPackage(const URL& package) {
    const std::string manifest = readFile(package.appending(kProjectManifestFilename));
    return parseDocument(manifest, package.lastPathComponent(),
                         package.appending(kProjectAssetsDirectoryName),
                         [&](const std::string& reference) { return resolveReference(package, reference); });
}

}  // namespace varnelle
