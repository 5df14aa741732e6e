#include "model/ProjectPackage.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <set>

#include "foundation/AtomicFile.h"
#include "model/FileNames.h"
#include "model/ProjectDocument.h"
#include "model/StagedPackage.h"

namespace varnelle {
namespace {

/// Far beyond any history: a step of 200 clips takes some 35 KB. More than this, read into memory, would be a
/// risk.
constexpr std::uint64_t kLargestManifest = std::uint64_t{1} << 30;

/// More than anyone has; where all seem taken, something is wrong with the folder.
constexpr int kMostPackagesOfAName = 100'000;

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

/// Where a reference leads once `directory` stands in `package`'s place.
URL resolveReference(const URL& directory, const URL& package, const std::string& reference) {
    // What no path can be is not looked for, and not shown at length either.
    const bool isPath = !reference.empty() && reference.size() < PATH_MAX;
    if (!isPath) throw ProjectPersistenceError::missingAsset(reference.substr(0, 64));
    const URL url = directory.appending(reference);
    std::error_code ignored;  // whatever keeps the file from being looked at, it can't be opened
    const bool isAsset = !std::filesystem::path(reference).is_absolute() &&
                         std::filesystem::is_regular_file(url.path(), ignored) && liesInside(url, directory);
    if (!isAsset) throw ProjectPersistenceError::missingAsset(URL("/" + reference).lastPathComponent());
    return package.appending(reference);
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
        if (n > kMostPackagesOfAName) throw FileError("Finding a free name for", url.string(), EEXIST);
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
    const URL place = packageBehind(destination);
    StagedPackage staged(state, place);
    static_cast<void>(staged.readAs(destination));
    staged.replace(place);
    return destination;
}

ProjectEditorState readPackage(const URL& package) {
    return readPackage(package, package);
}

ProjectEditorState readPackage(const URL& directory, const URL& package) {
    const std::string name = package.lastPathComponent();
    const URL manifest = directory.appending(kProjectManifestFilename);
    const std::string document = readFile(manifest, kLargestManifest);
    if (!liesInside(manifest, directory)) {
        throw ProjectDecodingError("The manifest of “" + name + "” is a link that leaves the package.");
    }
    const auto resolve = [&](const std::string& reference) {
        return resolveReference(directory, package, reference);
    };
    return parseDocument(document, name, package.appending(kProjectAssetsDirectoryName), resolve);
}

}  // namespace varnelle
