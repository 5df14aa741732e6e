#include "foundation/FileCopy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "foundation/AtomicFile.h"
#include "foundation/UUID.h"

namespace varnelle {
namespace {

class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    ~Descriptor() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int get() const { return descriptor_; }

private:
    int descriptor_;
};

/// Returns 0 or an errno.
int copyThroughMemory(int source, int destination) {
    std::array<char, 1 << 16> chunk{};
    while (true) {
        const ssize_t count = read(source, chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        if (count == 0) return 0;
        for (ssize_t written = 0; written < count;) {
            const ssize_t result =
                write(destination, chunk.data() + written, static_cast<size_t>(count - written));
            if (result < 0 && errno == EINTR) continue;
            if (result < 0) return errno;
            written += result;
        }
    }
}

int copyContents(int source, int destination) {
    if (ioctl(destination, FICLONE, source) == 0) return 0;
    bool hasCopied = false;
    while (true) {
        constexpr std::size_t chunkBytes = std::size_t{1} << 30;
        const ssize_t count = copy_file_range(source, nullptr, destination, nullptr, chunkBytes, 0);
        if (count == 0) return 0;
        if (count > 0) {
            hasCopied = true;
            continue;
        }
        if (errno == EINTR) continue;
        // Refused from the start: a file system or a pair of them that the kernel can't copy between.
        if (!hasCopied && errno != ENOSPC && errno != EIO) return copyThroughMemory(source, destination);
        return errno;
    }
}

}  // namespace

void copyFile(const URL& source, const URL& destination) {
    const Descriptor from(open(source.string().c_str(), O_RDONLY | O_CLOEXEC));
    if (from.get() < 0) throw FileError("Reading", source.string(), errno);
    const Descriptor to(open(destination.string().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (to.get() < 0) throw FileError("Writing", destination.string(), errno);
    int error = copyContents(from.get(), to.get());
    if (error == 0 && fsync(to.get()) != 0) error = errno;
    if (error != 0) {
        unlink(destination.string().c_str());
        throw FileError("Copying", source.string(), error);
    }
}

void replaceItem(const URL& destination, const URL& replacement) {
    const std::string to = destination.string();
    const std::string from = replacement.string();
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_EXCHANGE) == 0) {
        flushDirectoryEntry(destination);
        std::error_code ignored;
        std::filesystem::remove_all(replacement.path(), ignored);
        return;
    }
    if (errno == ENOENT) {
        if (std::rename(from.c_str(), to.c_str()) != 0) throw FileError("Replacing", to, errno);
        flushDirectoryEntry(destination);
        return;
    }
    if (errno != EINVAL && errno != ENOSYS) throw FileError("Replacing", to, errno);
    // A file system that can't exchange: the old item steps aside and comes back if the new one can't take
    // its place.
    const URL aside =
        destination.parent().appending("." + destination.lastPathComponent() + "-" + UUID::random().string());
    if (std::rename(to.c_str(), aside.string().c_str()) != 0) throw FileError("Replacing", to, errno);
    if (std::rename(from.c_str(), to.c_str()) != 0) {
        const int error = errno;
        std::rename(aside.string().c_str(), to.c_str());
        throw FileError("Replacing", to, error);
    }
    flushDirectoryEntry(destination);
    std::error_code ignored;
    std::filesystem::remove_all(aside.path(), ignored);
}

}  // namespace varnelle
