#include "foundation/Descriptor.h"

#include <unistd.h>

#include <cerrno>

namespace varnelle {

Descriptor::~Descriptor() {
    // Whoever wrote through it has flushed it by now: nothing can be lost here.
    if (descriptor_ >= 0) close(descriptor_);
}

int writeWhole(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return 0;
}

int readWhole(int descriptor, char* bytes, std::size_t& count) {
    const std::size_t wanted = std::exchange(count, 0);
    while (count < wanted) {
        const ssize_t result = read(descriptor, bytes + count, wanted - count);
        if (result < 0 && errno == EINTR) continue;
        if (result < 0) return errno;
        if (result == 0) break;
        count += static_cast<std::size_t>(result);
    }
    return 0;
}

}  // namespace varnelle
