#include "support/FileSystemFaults.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace varnelle::test {
namespace {

thread_local FileSystemFaults* active = nullptr;

}  // namespace

FileSystemFaults::FileSystemFaults(FaultPlan plan) : plan_(std::move(plan)) {
    active = this;
}

FileSystemFaults::~FileSystemFaults() {
    active = nullptr;
}

bool FileSystemFaults::refuses(const char* call, FaultPlan::Calls kind) {
    // Anything done in here is not the program's own.
    active = nullptr;
    const int error = errno;
    if (plan_.before) plan_.before();
    bool isRefused = false;
    if (kind >= plan_.calls) {
        ++callCount_;
        isRefused = plan_.effect == FaultPlan::Effect::failFromThenOn
                        ? plan_.at != 0 && callCount_ >= plan_.at
                        : callCount_ == plan_.at;
    }
    if (isRefused && plan_.effect == FaultPlan::Effect::killProcess) raise(SIGKILL);
    if (isRefused && struck_.empty()) struck_ = call;
    active = this;
    errno = isRefused ? plan_.errorNumber : error;
    return isRefused;
}

namespace {

using Calls = FaultPlan::Calls;

template <typename Signature, typename Result, typename... Arguments>
Result call(const char* name, Calls kind, Result failure, Arguments... arguments) {
    if (active != nullptr && active->refuses(name, kind)) return failure;
    return reinterpret_cast<Signature*>(dlsym(RTLD_NEXT, name))(arguments...);
}

Calls kindOfOpen(int flags) {
    return (flags & O_CREAT) != 0 ? Calls::takingSpace : Calls::all;
}

}  // namespace
}  // namespace varnelle::test

// They take the place of the C library's functions for the whole program, its shared libraries included.

using varnelle::test::active;
using varnelle::test::call;
using varnelle::test::Calls;
using varnelle::test::kindOfOpen;

extern "C" {

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return call<int(const char*, int, ...)>("open", kindOfOpen(flags), -1, path, flags, mode);
}

int openat(int directory, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return call<int(int, const char*, int, ...)>("openat", kindOfOpen(flags), -1, directory, path, flags,
                                                 mode);
}

int ioctl(int file, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return call<int(int, unsigned long, ...)>("ioctl", Calls::takingSpace, -1, file, request, argument);
}

int close(int file) {
    // As the system does it: the file is closed, whatever is said about it.
    const bool isRefused = active != nullptr && active->refuses("close", Calls::all);
    const int error = errno;
    const int result = call<int(int)>("close", Calls::all, -1, file);
    if (!isRefused) return result;
    errno = error;
    return -1;
}

int fsync(int /*file*/) {
    return active != nullptr && active->refuses("fsync", Calls::takingSpace) ? -1 : 0;
}

int renameat2(int fromDirectory, const char* from, int toDirectory, const char* to, unsigned flags) noexcept {
    if (active != nullptr && !active->canExchange()) {
        if (!active->refuses("renameat2", Calls::changing)) errno = EINVAL;
        return -1;
    }
    return call<int(int, const char*, int, const char*, unsigned)>(
        "renameat2", Calls::changing, -1, fromDirectory, from, toDirectory, to, flags);
}

ssize_t read(int file, void* bytes, size_t count) {
    return call<ssize_t(int, void*, size_t)>("read", Calls::all, ssize_t{-1}, file, bytes, count);
}
ssize_t write(int file, const void* bytes, size_t count) {
    return call<ssize_t(int, const void*, size_t)>("write", Calls::takingSpace, ssize_t{-1}, file, bytes,
                                                   count);
}
ssize_t copy_file_range(int from, off64_t* fromOffset, int to, off64_t* toOffset, size_t count,
                        unsigned flags) {
    return call<ssize_t(int, off64_t*, int, off64_t*, size_t, unsigned)>(
        "copy_file_range", Calls::takingSpace, ssize_t{-1}, from, fromOffset, to, toOffset, count, flags);
}
int sync_file_range(int /*file*/, off64_t /*offset*/, off64_t /*count*/, unsigned /*flags*/) {
    return active != nullptr && active->refuses("sync_file_range", Calls::takingSpace) ? -1 : 0;
}
int fallocate(int file, int mode, off64_t offset, off64_t count) {
    return call<int(int, int, off64_t, off64_t)>("fallocate", Calls::takingSpace, -1, file, mode, offset,
                                                 count);
}
int flock(int file, int operation) noexcept {
    return call<int(int, int)>("flock", Calls::all, -1, file, operation);
}
int mkdir(const char* path, mode_t mode) noexcept {
    return call<int(const char*, mode_t)>("mkdir", Calls::takingSpace, -1, path, mode);
}
int rename(const char* from, const char* to) noexcept {
    return call<int(const char*, const char*)>("rename", Calls::changing, -1, from, to);
}
int unlink(const char* path) noexcept {
    return call<int(const char*)>("unlink", Calls::changing, -1, path);
}
int unlinkat(int directory, const char* path, int flags) noexcept {
    return call<int(int, const char*, int)>("unlinkat", Calls::changing, -1, directory, path, flags);
}
int stat(const char* path, struct stat* status) noexcept {
    return call<int(const char*, struct stat*)>("stat", Calls::all, -1, path, status);
}
int lstat(const char* path, struct stat* status) noexcept {
    return call<int(const char*, struct stat*)>("lstat", Calls::all, -1, path, status);
}
int fstat(int file, struct stat* status) noexcept {
    return call<int(int, struct stat*)>("fstat", Calls::all, -1, file, status);
}
char* realpath(const char* path, char* resolved) noexcept {
    return call<char*(const char*, char*)>("realpath", Calls::all, static_cast<char*>(nullptr), path,
                                           resolved);
}
DIR* fdopendir(int file) {
    return call<DIR*(int)>("fdopendir", Calls::all, static_cast<DIR*>(nullptr), file);
}
dirent* readdir(DIR* directory) {
    return call<dirent*(DIR*)>("readdir", Calls::all, static_cast<dirent*>(nullptr), directory);
}
}
