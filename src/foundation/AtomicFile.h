#pragma once

#include <cstdio>
#include <memory>
#include <string_view>

#include "foundation/Error.h"
#include "foundation/URL.h"

namespace varnelle {

/// A file that appears whole or not at all: bytes go to a hidden file beside the destination, `commit`
/// flushes them to the disk and renames them over it. Destroyed without a commit it leaves nothing behind and
/// the old file as it was. For one thread at a time.
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
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    URL destination_;
    URL staging_;
    std::unique_ptr<std::FILE, Closer> file_;
};

/// Writes a whole file atomically. Throws `FileError`.
void writeFileAtomically(const URL& destination, std::string_view bytes);
/// Flushes a file's or a directory's contents to the disk. Throws `FileError`.
void flushToDisk(const URL& url);
/// Flushes the name of a file or directory that has just taken its place. That it stands there can't be
/// undone, so a failure is only logged.
void flushDirectoryEntry(const URL& url);
/// The bytes of a regular file. Throws `FileError`.
std::string readFile(const URL& url);

}  // namespace varnelle
