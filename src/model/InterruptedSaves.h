#pragma once

#include "foundation/URL.h"

namespace varnelle {

/// Deals with what saves that were killed have left in a directory of packages. A leftover without a manifest
/// is removed, and so is one beside which its package stands whole. One that is whole itself takes its
/// package's place if that is missing (the newest, if there are several); of a name so long that the
/// staging name had to be cut, it takes the cut name, and never goes for another's sake. All others stay,
/// with a line in the log: what can't be read may only be out of reach. Any directory will do, one that is
/// large or read-only too: only directories with this program's staging names are touched, links never
/// followed. While any process saves into the directory nothing happens. Logs a line for each thing done;
/// what fails is logged and left for the next time.
void finishInterruptedSaves(const URL& directory);

}  // namespace varnelle
