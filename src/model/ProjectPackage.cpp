#include "model/ProjectPackage.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <set>
#include <unordered_map>

#include "foundation/AtomicFile.h"
#include "model/FileNames.h"
#include "model/ProjectDocument.h"
#include "model/StagedPackage.h"

namespace varnelle {
namespace {

/// More than anyone has; where all seem taken, something is wrong with the folder.
constexpr int kMostPackagesOfAName = 100'000;

/// The sources of project after project. Most steps of a history share their clips with the one before, and
/// most clips their source with the clip before.
class SourceCollector {
public:
    void add(const Project& project) {
        const RecordingSession& session = project.recordingSession;
        add(session.screenRecordingURL);
        if (session.cameraRecordingURL) add(*session.cameraRecordingURL);
        if (session.cursorRecordingURL) add(*session.cursorRecordingURL);
        for (const TimelineTrack& track : project.timeline.tracks) {
            if (hasMet(track.clips)) continue;
            for (const TimelineClip& clip : track.clips) add(clip.sourceURL);
        }
        previous_ = &project;
    }
    [[nodiscard]] std::vector<URL> sources() const { return {sources_.begin(), sources_.end()}; }

private:
    [[nodiscard]] bool hasMet(const SharedList<TimelineClip>& clips) const {
        if (previous_ == nullptr) return false;
        const SharedList<TimelineTrack>& tracks = previous_->timeline.tracks;
        return std::any_of(tracks.begin(), tracks.end(),
                           [&](const TimelineTrack& track) { return track.clips.sharesStorage(clips); });
    }
    void add(const URL& source) {
        if (last_ != nullptr && source.path().native() == last_->path().native()) return;
        last_ = &*sources_.insert(source).first;
    }

    std::set<URL> sources_;
    const URL* last_ = nullptr;
    const Project* previous_ = nullptr;
};

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

/// A manifest is text without gaps: one of a size like this that has any is damage. Any other may be as large
/// as the memory allows, since histories grow.
constexpr std::uint64_t kLargestWithHoles = std::uint64_t{64} << 20;

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
    SourceCollector collector;
    collector.add(state.currentProject);
    for (const Project& project : state.undoStack) collector.add(project);
    for (const Project& project : state.redoStack) collector.add(project);
    std::vector<URL> sorted = collector.sources();
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
    StagedPackage(state, place).replace(place);
    return destination;
}

URL resolveReference(const URL& package, const std::string& reference) {
    // What no path can be is not looked for, and not shown at length either.
    const bool isPath = !reference.empty() && reference.size() < PATH_MAX;
    if (!isPath) throw ProjectPersistenceError::missingAsset(reference.substr(0, 64));
    URL url = package.appending(reference);
    std::error_code ignored;  // whatever keeps the file from being looked at, it can't be opened
    const bool isAsset = !std::filesystem::path(reference).is_absolute() &&
                         std::filesystem::is_regular_file(url.path(), ignored) && liesInside(url, package);
    if (!isAsset) throw ProjectPersistenceError::missingAsset(URL("/" + reference).lastPathComponent());
    return url;
}

std::uint64_t largestManifest() {
    const auto pages = static_cast<std::uint64_t>(std::max(sysconf(_SC_PHYS_PAGES), 1L));
    return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) / 2;
}

ProjectEditorState readPackage(const URL& package) {
    const std::string name = package.lastPathComponent();
    const URL manifest = package.appending(kProjectManifestFilename);
    const std::string document =
        readFile(manifest, hasHoles(manifest) ? kLargestWithHoles : largestManifest());
    if (!liesInside(manifest, package)) {
        throw ProjectDecodingError("The manifest of “" + name + "” is a link that leaves the package.");
    }
    std::unordered_map<std::string, URL> resolved;  // thousands of clips refer to a few files
    const auto resolve = [&](const std::string& reference) {
        auto found = resolved.find(reference);
        if (found == resolved.end()) {
            found = resolved.emplace(reference, resolveReference(package, reference)).first;
        }
        return found->second;
    };
    return parseDocument(document, name, package.appending(kProjectAssetsDirectoryName), resolve);
}

}  // namespace varnelle
