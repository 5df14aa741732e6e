#include "foundation/AtomicFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "foundation/Log.h"
#include "foundation/UUID.h"

namespace varnelle {

FileError::FileError(const std::string& action, const std::string& path, int errorNumber)
    : Error(fmt::format("{} “{}” failed: {}.", action, path, std::strerror(errorNumber))),
      errorNumber_(errorNumber) {}

AtomicFile::AtomicFile(const URL& destination)
    : destination_(destination),
      staging_(destination.parent().appending("." + destination.lastPathComponent() + "-" +
                                              UUID::random().string())),
      file_(std::fopen(staging_.string().c_str(), "wbxe")) {
    if (!file_) throw FileError("Writing", destination_.string(), errno);
}

AtomicFile::~AtomicFile() {
    if (file_) unlink(staging_.string().c_str());
}

void AtomicFile::write(std::string_view bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size()) {
        throw FileError("Writing", destination_.string(), errno);
    }
}

void AtomicFile::commit() {
    if (std::fflush(file_.get()) != 0 || fsync(fileno(file_.get())) != 0 ||
        std::rename(staging_.string().c_str(), destination_.string().c_str()) != 0) {
        throw FileError("Writing", destination_.string(), errno);
    }
    file_.reset();
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
    const int descriptor = open(url.string().c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) throw FileError("Flushing", url.string(), errno);
    const int result = fsync(descriptor);
    const int error = errno;
    close(descriptor);
    // Some file systems can't flush a directory, and say so with EINVAL.
    if (result != 0 && error != EINVAL) throw FileError("Flushing", url.string(), error);
}

std::string readFile(const URL& url) {
    // A pipe in the file's place must not make the reader wait for a writer.
    const int descriptor = open(url.string().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) throw FileError("Reading", url.string(), errno);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(fdopen(descriptor, "rb"), std::fclose);
    struct stat status {};
    if (fstat(descriptor, &status) != 0) throw FileError("Reading", url.string(), errno);
    if (!S_ISREG(status.st_mode)) {
        throw FileError("Reading", url.string(), S_ISDIR(status.st_mode) ? EISDIR : ENOTSUP);
    }
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    if (std::ferror(file.get()) != 0) throw FileError("Reading", url.string(), errno);
    return bytes;
}

}  // namespace varnelle
