#pragma once

#include <optional>

#include "foundation/Descriptor.h"
#include "foundation/URL.h"

namespace varnelle {

/// An advisory lock on a directory between the processes of this program (flock). The kernel lets go of it
/// when its process dies, however that happens.
class DirectoryLock {
public:
    /// Held by any number of processes at once; waits for an exclusive one to end. Where the file system
    /// knows no locks nothing is held, and nobody can lock exclusively. Throws `FileError`.
    static DirectoryLock shared(const URL& directory);
    /// Held alone; absent if anyone else holds a lock, or if there are no locks there. Throws `FileError`.
    static std::optional<DirectoryLock> tryExclusive(const URL& directory);

private:
    explicit DirectoryLock(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

    Descriptor descriptor_;
};

}  // namespace varnelle
