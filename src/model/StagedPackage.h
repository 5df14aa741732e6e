#pragma once

#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "foundation/DirectoryLock.h"
#include "foundation/URL.h"
#include "model/Project.h"
#include "model/ProjectPackage.h"

namespace varnelle {

/// What a package's URL stands for when it may be a symbolic link: the place that the link leads to, or the
/// URL itself if it isn't a link, or one to nowhere. Throws `FileError`.
URL packageBehind(const URL& url);

/// Removes the directory of a package that is out of its place, the manifest first: what a kill leaves of it
/// is no package for anyone then. Returns the error if it can't be removed.
[[nodiscard]] std::error_code discardPackage(const URL& directory);

/// Removes a package that has been saved under another name: it steps aside under a staging name and is
/// discarded there, so that no half of it ever stands in its place. Of a symbolic link only the link goes.
/// A kill in between those two brings it back at the next start, as a second copy. A failure is logged.
void retirePackage(const URL& package);

/// A package that is written, flushed and whole in a hidden directory, from which it goes to its place once
/// that is known. Gone at the end if it hasn't been put anywhere. As long as it lives the parent directory
/// carries a shared lock, which keeps `finishInterruptedSaves` away. For one thread at a time.
class StagedPackage {
public:
    /// Writes a project beside `destination`, which needn't be the place in the end but names the parent.
    /// Throws `ProjectPersistenceError` for a missing source, `ProjectEncodingError` or
    /// `ProjectDecodingError` for what couldn't be opened again, both before anything is made; `FileError`.
    StagedPackage(const ProjectEditorState& state, const URL& destination);

    /// What `readPackage` will give once it is at `package`.
    [[nodiscard]] ProjectEditorState stateAt(const URL& package) const;
    /// Puts it in a place of the same parent if that is free; else returns false.
    [[nodiscard]] bool moveTo(const URL& package);
    /// Puts it in the place of a package of the same parent, and removes that.
    void replace(const URL& package);

private:
    /// Whatever goes wrong, nothing hidden stays behind; the next start tidies up where that fails too.
    struct Directory {
        explicit Directory(URL place) : url(std::move(place)) {}
        ~Directory();
        Directory(const Directory&) = delete;
        Directory& operator=(const Directory&) = delete;

        URL url;
        bool isOurs = true;
    };

    [[nodiscard]] ProjectEditorState parsed(const URL& package) const;
    void write(const std::vector<URL>& sources);
    void verify() const;

    AssetReferences references_;
    std::string manifest_;
    URL destination_;
    ProjectEditorState state_;  ///< at `destination_`
    std::optional<DirectoryLock> lock_;
    std::optional<Directory> staging_;
};

}  // namespace varnelle
