#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "model/ProjectPackage.h"

namespace varnelle {

enum class DocumentLayout { pretty, compact };

/// The manifest of a package: JSON (RFC 8259) with sorted keys and ISO 8601 dates. Throws
/// `ProjectEncodingError` if a number isn't finite, which JSON can't hold. A name that isn't UTF-8 has what
/// is wrong in it replaced in the pretty layout, which is for files; the compact one, which is for comparing,
/// refuses it.
std::string makeDocument(const ProjectEditorState& state, const AssetReferences& references,
                         DocumentLayout layout);

/// Whether all values of a project lie in the ranges that a manifest is read with. One that doesn't, anywhere
/// in the history, keeps all of it from being saved, so an edit that makes such a value is to be refused.
/// Takes microseconds for a thousand clips.
bool isStorable(const Project& project);

/// Text as a document holds it: what isn't UTF-8 in it replaced by U+FFFD.
std::string wellFormed(const std::string& text);

/// Reads a manifest. `assetsDirectory` becomes the sessions' directory; `resolve` turns a reference into the
/// place of its file, or throws. Steps of the history share equal lists with their neighbours and the current
/// project. Throws `ProjectDecodingError` (naming `packageName`) and
/// `ProjectPersistenceError`.
ProjectEditorState parseDocument(std::string_view json, const std::string& packageName,
                                 const URL& assetsDirectory,
                                 const std::function<URL(const std::string& reference)>& resolve);

}  // namespace varnelle
