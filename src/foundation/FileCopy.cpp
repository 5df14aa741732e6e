#include "foundation/FileCopy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <vector>

#include "foundation/AtomicFile.h"
#include "foundation/Log.h"
#include "foundation/StagingName.h"

namespace varnelle {
namespace {

/// Copied between two hints to the disk to start writing: large enough for the calls not to count, small
/// enough for the disk to be busy from the beginning.
constexpr std::size_t kChunkBytes = std::size_t{8} << 20;

/// Lets the disk begin with a part of a file. Whether it does is no matter: the flush at the end counts.
void startWriting(int file, std::int64_t offset, std::int64_t bytes) {
    static_cast<void>(sync_file_range(file, offset, bytes, SYNC_FILE_RANGE_WRITE));
}

/// Returns 0 or an errno.
int copyThroughMemory(int source, int destination) {
    std::vector<char> chunk(std::size_t{1} << 20);
    for (std::int64_t offset = 0;;) {
        std::size_t count = chunk.size();
        if (const int error = readWhole(source, chunk.data(), count)) return error;
        if (count == 0) return 0;
        if (const int error = writeWhole(destination, {chunk.data(), count})) return error;
        startWriting(destination, offset, static_cast<std::int64_t>(count));
        offset += static_cast<std::int64_t>(count);
    }
}

/// Room for the whole copy at once: in few pieces, and a full disk shows before any time is spent.
int reserveRoom(int file, std::int64_t bytes) {
    if (bytes == 0 || fallocate(file, FALLOC_FL_KEEP_SIZE, 0, bytes) == 0) return 0;
    const int error = errno;
    return error == ENOSPC || error == EDQUOT || error == EFBIG ? error : 0;
}

int copyContents(int source, int destination, std::int64_t size) {
    if (ioctl(destination, FICLONE, source) == 0) return 0;
    if (const int error = reserveRoom(destination, size)) return error;
    for (std::int64_t offset = 0;;) {
        const ssize_t count = copy_file_range(source, nullptr, destination, nullptr, kChunkBytes, 0);
        if (count == 0) return 0;
        if (count > 0) {
            startWriting(destination, offset, count);
            offset += count;
            continue;
        }
        if (errno == EINTR) continue;
        // Refused from the start: a file system or a pair of them that the kernel can't copy between.
        if (offset == 0 && errno != ENOSPC && errno != EIO) return copyThroughMemory(source, destination);
        return errno;
    }
}

/// Some file systems let a copy inside the kernel end early and call it success.
int compareSizes(const struct stat& source, int copy) {
    struct stat status {};
    if (fstat(copy, &status) != 0) return errno;
    return status.st_size < source.st_size ? EIO : 0;
}

/// For a file system that can't exchange: the old item steps aside and comes back if the new one can't take
/// its place. Returns where it is.
URL replaceInTwoSteps(const URL& destination, const URL& replacement) {
    const std::string to = destination.string();
    URL aside = stagingURL(destination);
    if (std::rename(to.c_str(), aside.string().c_str()) != 0) throw FileError("Replacing", to, errno);
    if (std::rename(replacement.string().c_str(), to.c_str()) != 0) {
        const int error = errno;
        if (std::rename(aside.string().c_str(), to.c_str()) != 0) {
            logger(LogCategory::app).error("“{}” has to be looked for as “{}” now.", to, aside.string());
        }
        throw FileError("Replacing", to, error);
    }
    flushDirectoryEntry(destination);
    return aside;
}

bool meansThatItCannotBeAsked(int error) {
    return error == EINVAL || error == ENOSYS;
}

}  // namespace

FileCopy::FileCopy(const URL& source, const URL& destination) : source_(source) {
    // A pipe in the source's place must not make the copy wait for a writer.
    const Descriptor from(open(source.string().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!from.isOpen() || fstat(from.get(), &status) != 0) throw FileError("Reading", source.string(), errno);
    if (!S_ISREG(status.st_mode)) {
        throw FileError("Reading", source.string(), S_ISDIR(status.st_mode) ? EISDIR : ENOTSUP);
    }
    copy_ = Descriptor(open(destination.string().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!copy_.isOpen()) throw FileError("Writing", destination.string(), errno);
    int error = copyContents(from.get(), copy_.get(), status.st_size);
    if (error == 0) error = compareSizes(status, copy_.get());
    if (error != 0) {
        unlink(destination.string().c_str());
        throw FileError("Copying", source.string(), error);
    }
}

void FileCopy::flush() {
    if (fsync(copy_.get()) != 0) throw FileError("Copying", source_.string(), errno);
}

bool moveDirectory(const URL& directory, const URL& destination) {
    const std::string from = directory.string();
    const std::string to = destination.string();
    int error = renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0 ? 0 : errno;
    if (meansThatItCannotBeAsked(error)) {
        struct stat status {};
        if (lstat(to.c_str(), &status) == 0) return false;
        if (errno != ENOENT) throw FileError("Writing", to, errno);
        // What comes in between now is safe too, but for an empty folder: a directory replaces nothing else.
        error = std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
        if (error == ENOTEMPTY || error == ENOTDIR) return false;
    }
    if (error == EEXIST) return false;
    if (error != 0) throw FileError("Writing", to, error);
    flushDirectoryEntry(destination);
    return true;
}

std::optional<URL> replaceItem(const URL& destination, const URL& replacement) {
    const std::string to = destination.string();
    const std::string from = replacement.string();
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_EXCHANGE) == 0) {
        flushDirectoryEntry(destination);
        return replacement;
    }
    const int error = errno;
    struct stat status {};
    if (lstat(to.c_str(), &status) != 0 && errno == ENOENT) {
        if (std::rename(from.c_str(), to.c_str()) != 0) throw FileError("Replacing", to, errno);
        flushDirectoryEntry(destination);
        return std::nullopt;
    }
    if (!meansThatItCannotBeAsked(error)) throw FileError("Replacing", to, error);
    return replaceInTwoSteps(destination, replacement);
}

}  // namespace varnelle
