#include "foundation/AtomicFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

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
    flushToDisk(destination_.parent());
}

void writeFileAtomically(const URL& destination, std::string_view bytes) {
    AtomicFile file(destination);
    file.write(bytes);
    file.commit();
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
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(url.string().c_str(), "rbe"),
                                                               std::fclose);
    if (!file) throw FileError("Reading", url.string(), errno);
    std::string bytes;
    std::array<char, 65536> chunk{};
    while (const std::size_t count = std::fread(chunk.data(), 1, chunk.size(), file.get())) {
        bytes.append(chunk.data(), count);
    }
    if (std::ferror(file.get()) != 0) throw FileError("Reading", url.string(), errno);
    return bytes;
}

}  // namespace varnelle
