#pragma once

#include <optional>
#include <string>

#include "model/Project.h"

namespace varnelle {

/// Bytes that are equal exactly when two states are equal as documents, history included, wherever their
/// files lie. Absent if the state can't be written as a document, which counts as changed.
std::optional<std::string> projectFingerprint(const ProjectEditorState& state);

}  // namespace varnelle
