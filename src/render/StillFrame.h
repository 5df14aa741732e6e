#pragma once

#include <optional>

#include "imaging/Bitmap.h"
#include "model/Project.h"

namespace varnelle {

/// One frame of a project by itself, as an export at the recording's size shows it. Takes as long as opening
/// the project's movies and decoding up to half a second of them; for any thread.
///
/// Throws what `VideoCompositor::buildComposition` throws, and `Error` if the project has no frame at
/// `seconds` of its timeline.
Bitmap renderStillFrame(const Project& project, double seconds);

}  // namespace varnelle
