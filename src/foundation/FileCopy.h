#pragma once

#include "foundation/Descriptor.h"
#include "foundation/URL.h"

namespace varnelle {

/// A new file with the contents of another. It shares its blocks with the original where the file system can
/// do that, else it is made inside the kernel, else through memory; the disk starts writing meanwhile. Only
/// `flush` waits for the disk, so that several copies can be made while their predecessors are written. For
/// one thread at a time.
class FileCopy {
public:
    /// Copies. Throws `FileError`, with ENOENT if there is no source; what was made of the copy is then
    /// removed.
    FileCopy(const URL& source, const URL& destination);

    /// Returns once the copy is safely on the disk. Throws `FileError`.
    void flush();

private:
    URL source_;
    Descriptor copy_;
};

/// Puts `replacement` (file or directory) in the place of `destination` in one step, if `destination` exists
/// also, and removes what stood there; what can't be removed stays under a staging name. Both must lie in the
/// same directory. Throws `FileError`; `destination` is then untouched.
void replaceItem(const URL& destination, const URL& replacement);

}  // namespace varnelle
