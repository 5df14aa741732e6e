#pragma once

#include <optional>

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

/// Gives a directory another name in the same parent, if that name is free; else returns false and does
/// nothing. Nothing that another program puts there at the same time is lost; where the file system can't be
/// asked to refuse, that doesn't hold for an empty directory. Throws `FileError`.
[[nodiscard]] bool moveDirectory(const URL& directory, const URL& destination);

/// Puts `replacement` (file or directory) in the place of `destination`, in one step wherever the file system
/// can. Returns where what stood there is now, under a staging name, for the caller to remove. Both must lie
/// in the same directory. Throws `FileError`; `destination` is then untouched.
[[nodiscard]] std::optional<URL> replaceItem(const URL& destination, const URL& replacement);

}  // namespace varnelle
