#pragma once

#include <optional>

#include "foundation/URL.h"
#include "model/Project.h"

namespace varnelle {

/// Where recordings lie until they are saved.
URL sessionsDirectory(const URL& temporaryDirectory);

/// The state as it is saved: its project's name made well-formed and usable as a file name ("Varnelle
/// Project" if there is none). The projects of the stacks keep theirs.
ProjectEditorState namedForSaving(ProjectEditorState state);

/// A project that has just been saved: its package, and the state as read back from there, whose files all
/// lie in the package.
struct SavedProject {
    URL packageURL;
    ProjectEditorState state;
};

/// Saves a state (named for saving). `currentPackage` is its package so far; it is replaced if it bears the
/// project's name, else a name that is free in the end is taken in "Varnelle Projects", and the old package
/// (of a symbolic link, only that) goes once the new one, which has been read back, stands. Throws what
/// writing and reading a package throw; the old package then stands as it was. Any thread, one save of a
/// project at a time; saves of different projects don't harm each other, whatever they are called.
SavedProject saveProject(const ProjectEditorState& state, const std::optional<URL>& currentPackage,
                         const URL& homeDirectory);

/// Takes the session directory of an unsaved project out of its place, so that it can be removed at leisure,
/// and returns where it lies now. Only what lies below the program's own sessions directory is touched;
/// absent for everything else, and if it can't be moved.
std::optional<URL> setSessionAside(const URL& sessionDirectory, const URL& temporaryDirectory);

/// Whether a directory was set aside to be removed.
bool isSetAside(const URL& sessionDirectory);

}  // namespace varnelle
