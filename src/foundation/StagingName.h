#pragma once

#include <optional>

#include "foundation/URL.h"

namespace varnelle {

/// Where the new form of a file or directory is made before it takes its place: hidden, beside it, under a
/// name that is used once: "." + name + "-" + UUID. Of a name that is too long for that, the part before the
/// extension is cut.
URL stagingURL(const URL& destination);

/// What the name of such a place tells.
struct StagingName {
    URL destination;
    bool mayBeCut = false;  ///< the destination's name may have been longer
};

/// Absent if the name isn't one of those.
std::optional<StagingName> parseStagingName(const URL& staging);

}  // namespace varnelle
