#pragma once

#include "foundation/URL.h"

namespace varnelle {

/// Copies a file to a new one and flushes it to the disk. The copy shares its blocks with the original where
/// the file system can do that, else it is made inside the kernel, else through memory. Throws `FileError`;
/// what was made of the copy by then is removed.
void copyFile(const URL& source, const URL& destination);

/// Puts `replacement` (file or directory) in the place of `destination` in one step, if `destination` exists
/// also, and removes what stood there. Both must lie in the same directory. Throws `FileError`; `destination`
/// is then untouched.
void replaceItem(const URL& destination, const URL& replacement);

}  // namespace varnelle
