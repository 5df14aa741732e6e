#pragma once

#include <string_view>

#include "foundation/URL.h"

namespace varnelle {

/// Where a file that comes with the program lies, such as "cursors/arrow.png": in share/varnelle beside the
/// directory of the executable if it is there, else in the build tree. Whether it exists isn't looked at.
URL resourceURL(std::string_view relativePath);

}  // namespace varnelle
