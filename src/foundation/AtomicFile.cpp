#include "foundation/AtomicFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "foundation/Log.h"
#include "foundation/StagingName.h"

namespace varnelle {

FileError::FileError(const std::string& action, const std::string& path, int errorNumber)
    : Error(fmt::format("{} “{}” failed: {}.", action, path, std::strerror(errorNumber))),
      action_(action),
      path_(path),
      errorNumber_(errorNumber) {}

AtomicFile::AtomicFile(const URL& destination)
    : destination_(destination),
      staging_(stagingURL(destination)),
      file_(open(staging_.string().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
    if (!file_.isOpen()) throw FileError("Writing", destination_.string(), errno);
}

AtomicFile::~AtomicFile() {
    if (!hasCommitted_) unlink(staging_.string().c_str());
}

void AtomicFile::write(std::string_view bytes) {
    if (const int error = writeWhole(file_.get(), bytes)) {
        throw FileError("Writing", destination_.string(), error);
    }
}

void AtomicFile::commit() {
    if (fsync(file_.get()) != 0 ||
        std::rename(staging_.string().c_str(), destination_.string().c_str()) != 0) {
        throw FileError("Writing", destination_.string(), errno);
    }
    hasCommitted_ = true;
    file_ = Descriptor();
    flushDirectoryEntry(destination_);
}

void writeFileAtomically(const URL& destination, std::string_view bytes) {
    AtomicFile file(destination);
    file.write(bytes);
    file.commit();
}

void flushDirectoryEntry(const URL& url) {
    try {
        flushToDisk(url.parent());
    } catch (const FileError& error) {
        logger(LogCategory::app).warn("A power cut may still undo the last step. {}", error.what());
    }
}

void flushToDisk(const URL& url) {
    const Descriptor descriptor(open(url.string().c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor.isOpen()) throw FileError("Flushing", url.string(), errno);
    // Some file systems can't flush a directory, and say so with EINVAL.
    if (fsync(descriptor.get()) != 0 && errno != EINVAL) throw FileError("Flushing", url.string(), errno);
}

bool hasHoles(const URL& url) {
    const Descriptor file(open(url.string().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file.isOpen() || fstat(file.get(), &status) != 0) return false;
    const off_t end = lseek(file.get(), 0, SEEK_HOLE);
    return end >= 0 && end < status.st_size;
}

std::string readFile(const URL& url, std::uint64_t maximumBytes) {
    // A pipe in the file's place must not make the reader wait for a writer.
    const Descriptor file(open(url.string().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen()) throw FileError("Reading", url.string(), errno);
    struct stat status {};
    if (fstat(file.get(), &status) != 0) throw FileError("Reading", url.string(), errno);
    if (!S_ISREG(status.st_mode)) {
        throw FileError("Reading", url.string(), S_ISDIR(status.st_mode) ? EISDIR : ENOTSUP);
    }
    if (static_cast<std::uint64_t>(status.st_size) > maximumBytes) {
        throw FileError("Reading", url.string(), EFBIG);
    }
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t count = bytes.size();
    if (const int error = readWhole(file.get(), bytes.data(), count)) {
        throw FileError("Reading", url.string(), error);
    }
    bytes.resize(count);
    return bytes;
}

}  // namespace varnelle
