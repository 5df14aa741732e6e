#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/Descriptor.h"
#include "foundation/Error.h"
#include "foundation/URL.h"

namespace varnelle {

/// A file that appears whole or not at all: bytes go to a hidden file beside the destination, `commit`
/// flushes them to the disk and renames them over it. Destroyed without a commit it leaves nothing behind and
/// the old file as it was. Unbuffered. For one thread at a time.
class AtomicFile {
public:
    /// Throws `FileError` if the directory can't be written to.
    explicit AtomicFile(const URL& destination);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    /// Throws `FileError`, for instance for a full disk.
    void write(std::string_view bytes);
    void commit();

private:
    URL destination_;
    URL staging_;
    Descriptor file_;
    bool hasCommitted_ = false;
};

/// Writes a whole file atomically. Throws `FileError`.
void writeFileAtomically(const URL& destination, std::string_view bytes);
/// Flushes a file's or a directory's contents to the disk. Throws `FileError`.
void flushToDisk(const URL& url);
/// Flushes the name of a file or directory that has just taken its place. That it stands there can't be
/// undone, so a failure is only logged.
void flushDirectoryEntry(const URL& url);

/// Whether parts of a file were never written. False too where the file system can't tell.
bool hasHoles(const URL& url);
/// More than any file that is read as a whole has; what is larger is damage, or not ours.
inline constexpr std::uint64_t kLargestWholeFile = std::uint64_t{2} << 30;
/// The bytes of a regular file. Throws `FileError`, also for one of more than `maximumBytes`.
std::string readFile(const URL& url, std::uint64_t maximumBytes = kLargestWholeFile);

}  // namespace varnelle
