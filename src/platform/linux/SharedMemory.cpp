#include "platform/linux/SharedMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

namespace varnelle {

SharedMemory::SharedMemory(std::size_t byteCount) : byteCount_(byteCount) {
    descriptor_ = memfd_create("varnelle-screen", MFD_CLOEXEC);
    if (descriptor_ < 0) throw FileError("Creating", "shared memory", errno);
    if (ftruncate(descriptor_, static_cast<off_t>(byteCount)) != 0) {
        const int reason = errno;
        close(descriptor_);
        throw FileError("Sizing", "shared memory", reason);
    }
    void* mapped = mmap(nullptr, byteCount, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0);
    if (mapped == MAP_FAILED) {
        const int reason = errno;
        close(descriptor_);
        throw FileError("Mapping", "shared memory", reason);
    }
    bytes_ = static_cast<std::uint8_t*>(mapped);
}

SharedMemory::~SharedMemory() {
    munmap(bytes_, byteCount_);
    close(descriptor_);
}

int SharedMemory::duplicateDescriptor() const {
    const int copy = fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
    if (copy < 0) throw FileError("Duplicating", "shared memory", errno);
    return copy;
}

}  // namespace varnelle
