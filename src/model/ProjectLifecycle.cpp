#include "model/ProjectLifecycle.h"

#include <algorithm>
#include <filesystem>

#include "model/FileNames.h"
#include "model/ProjectDocument.h"
#include "model/ProjectPackage.h"
#include "model/StagedPackage.h"

namespace varnelle {
namespace {

constexpr std::string_view kNamelessProject = "Varnelle Project";
constexpr std::string_view kSetAsidePrefix = ".discarded-";

/// Whether a directory lies below another, links followed.
bool liesBelow(const URL& directory, const URL& ancestor) {
    std::error_code error;
    const auto path = std::filesystem::canonical(directory.path(), error);
    if (error) return false;
    const auto root = std::filesystem::canonical(ancestor.path(), error);
    if (error) return false;
    const auto [rootEnd, rest] = std::mismatch(root.begin(), root.end(), path.begin(), path.end());
    return rootEnd == root.end() && rest != path.end();
}

SavedProject saveInPlace(const ProjectEditorState& state, const URL& package) {
    const URL place = packageBehind(package);
    StagedPackage staged(state, place);
    SavedProject saved{package, staged.stateAt(package)};
    staged.replace(place);
    return saved;
}

/// The name is chosen at the very end: another save may take the one that is free now.
SavedProject saveUnderFreeName(const ProjectEditorState& state, const URL& homeDirectory) {
    const std::string& name = state.currentProject.name;
    StagedPackage staged(state, uniquePackageURL(name, homeDirectory));
    for (;;) {
        const URL package = uniquePackageURL(name, homeDirectory);
        SavedProject saved{package, staged.stateAt(package)};
        if (staged.moveTo(package)) return saved;
    }
}

}  // namespace

URL sessionsDirectory(const URL& temporaryDirectory) {
    return temporaryDirectory.appending("Varnelle").appending("Sessions");
}

ProjectEditorState namedForSaving(ProjectEditorState state) {
    std::string& name = state.currentProject.name;
    name = wellFormed(name);
    name.erase(std::remove(name.begin(), name.end(), '\0'), name.end());  // no file can be called that
    name = sanitizedFileName(name, kNamelessProject);
    return state;
}

SavedProject saveProject(const ProjectEditorState& state, const std::optional<URL>& currentPackage,
                         const URL& homeDirectory) {
    if (currentPackage && currentPackage->stem() == state.currentProject.name) {
        return saveInPlace(state, *currentPackage);
    }
    SavedProject saved = saveUnderFreeName(state, homeDirectory);
    if (currentPackage) retirePackage(*currentPackage);
    return saved;
}

std::optional<URL> setSessionAside(const URL& sessionDirectory, const URL& temporaryDirectory) {
    if (!liesBelow(sessionDirectory, sessionsDirectory(temporaryDirectory))) return std::nullopt;
    const URL aside =
        sessionDirectory.parent().appending(std::string(kSetAsidePrefix) + UUID::random().string());
    std::error_code error;
    std::filesystem::rename(sessionDirectory.path(), aside.path(), error);
    if (error) return std::nullopt;
    return aside;
}

bool isSetAside(const URL& sessionDirectory) {
    return sessionDirectory.lastPathComponent().compare(0, kSetAsidePrefix.size(), kSetAsidePrefix) == 0;
}

}  // namespace varnelle
