#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "model/ProjectPackage.h"

namespace varnelle {

/// The manifest of a package: JSON (RFC 8259) with sorted keys, pretty printed, ISO 8601 dates.
std::string makeDocument(const ProjectEditorState& state, const AssetReferences& references);

/// Reads a manifest. `assetsDirectory` becomes the sessions' directory; `resolve` turns a reference into the
/// place of its file, or throws. Throws `ProjectDecodingError` (naming `packageName`) and
/// `ProjectPersistenceError`.
ProjectEditorState parseDocument(std::string_view json, const std::string& packageName,
                                 const URL& assetsDirectory,
                                 const std::function<URL(const std::string& reference)>& resolve);

}  // namespace varnelle
