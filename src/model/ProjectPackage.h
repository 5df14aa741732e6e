#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Error.h"
#include "foundation/URL.h"
#include "model/Project.h"

namespace varnelle {

inline constexpr std::string_view kProjectFolderName = "Varnelle Projects";
inline constexpr std::string_view kProjectPackageExtension = "varnelle";
inline constexpr std::string_view kProjectManifestFilename = "project.json";
inline constexpr std::string_view kProjectAssetsDirectoryName = "Assets";

/// A project can't be saved or opened, for a reason that lies in the project itself.
class ProjectPersistenceError : public Error {
public:
    enum class Code { invalidProject, missingAsset, noProject };

    static ProjectPersistenceError invalidProject(const std::string& message);
    static ProjectPersistenceError missingAsset(const std::string& name);
    static ProjectPersistenceError noProject();

    [[nodiscard]] Code code() const { return code_; }

private:
    ProjectPersistenceError(Code code, const std::string& message) : Error(message), code_(code) {}

    Code code_;
};

/// The manifest isn't the JSON of a project. The text names the package and says what is wrong.
class ProjectDecodingError : public Error {
public:
    using Error::Error;
};

/// The project holds what a manifest can't.
class ProjectEncodingError : public Error {
public:
    using Error::Error;
};

/// Path of a source to its reference within a package.
using AssetReferences = std::map<URL, std::string>;

/// Where a project of a name is saved by default: in "Varnelle Projects" in the home directory. `name` must
/// be a file name (`sanitizedFileName`).
URL defaultPackageURL(std::string_view name, const URL& homeDirectory);

/// The default place, or the first free one of those with " 2", " 3", ... after the name. Throws `FileError`
/// if there is none.
URL uniquePackageURL(std::string_view name, const URL& homeDirectory);

/// Every file that a project or its history refers to, once each, in natural order of the paths.
std::vector<URL> collectSourceURLs(const ProjectEditorState& state);

/// Names for the copies of `sources` in a package, in their order, unique even where case doesn't count.
std::vector<std::string> assetNames(const std::vector<URL>& sources);

/// Saves a project as a package: everything is staged beside the destination and takes its place in one step,
/// so that a failure leaves what stood there before; through a symbolic link, the package behind it is
/// replaced. While it runs, the parent directory carries a shared lock, which keeps `finishInterruptedSaves`
/// away. Returns the destination. Throws `ProjectPersistenceError` for a missing source, `FileError` for
/// everything the file system refuses, `ProjectEncodingError` or `ProjectDecodingError` for values that
/// couldn't be read again.
URL writePackage(const ProjectEditorState& state, const URL& destination);

/// Opens a package. Throws `FileError` if there is no manifest, `ProjectDecodingError` if it isn't a
/// project's, `ProjectPersistenceError` for an unknown format version or a missing asset; a reference that
/// would leave the package counts as missing.
ProjectEditorState readPackage(const URL& package);

/// The file that a reference in a package means. Throws `ProjectPersistenceError` if it isn't there.
URL resolveReference(const URL& package, const std::string& reference);

/// The most bytes that a manifest may have: half of the machine's memory, whatever else is in use.
std::uint64_t largestManifest();

}  // namespace varnelle
