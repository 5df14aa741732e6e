#pragma once

#include <optional>

#include "foundation/URL.h"

namespace varnelle {

/// Where the new form of a file or directory is made before it takes its place: hidden, beside it, under a
/// name that is used once: "." + name + "-" + UUID.
URL stagingURL(const URL& destination);

/// The destination of such a place; absent if the name isn't one of those.
std::optional<URL> destinationOfStaging(const URL& staging);

}  // namespace varnelle
