#pragma once

#include "foundation/URL.h"

namespace varnelle {

/// Deals with what saves that were killed have left in a directory of packages. A leftover takes its
/// package's place if that is missing and the leftover is a whole package (the newest, if there are several);
/// otherwise it is removed, unless it is whole and the package beside it is damaged. Only directories with
/// this program's staging names are touched, links never followed. While any process saves into the directory
/// nothing happens. Logs a line for each thing done; what fails is logged and left for the next time.
void finishInterruptedSaves(const URL& directory);

}  // namespace varnelle
