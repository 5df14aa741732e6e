#include "foundation/DirectoryLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

#include "foundation/Error.h"

namespace varnelle {
namespace {

Descriptor openDirectory(const URL& directory) {
    Descriptor descriptor(open(directory.string().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!descriptor.isOpen()) throw FileError("Opening the folder", directory.string(), errno);
    return descriptor;
}

/// Returns 0 or an errno.
int lock(const Descriptor& descriptor, int operation) {
    while (flock(descriptor.get(), operation) != 0) {
        if (errno != EINTR) return errno;
    }
    return 0;
}

bool meansThatThereAreNoLocks(int error) {
    return error == ENOSYS || error == EOPNOTSUPP || error == ENOLCK || error == EINVAL;
}

}  // namespace

DirectoryLock DirectoryLock::shared(const URL& directory) {
    Descriptor descriptor = openDirectory(directory);
    const int error = lock(descriptor, LOCK_SH);
    if (error != 0 && !meansThatThereAreNoLocks(error)) {
        throw FileError("Locking the folder", directory.string(), error);
    }
    return DirectoryLock(std::move(descriptor));
}

std::optional<DirectoryLock> DirectoryLock::tryExclusive(const URL& directory) {
    Descriptor descriptor = openDirectory(directory);
    const int error = lock(descriptor, LOCK_EX | LOCK_NB);
    if (error == EWOULDBLOCK || meansThatThereAreNoLocks(error)) return std::nullopt;
    if (error != 0) throw FileError("Locking the folder", directory.string(), error);
    return DirectoryLock(std::move(descriptor));
}

}  // namespace varnelle
