#include "foundation/URL.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace varnelle {

URL::URL(const std::filesystem::path& path) : path_(std::filesystem::absolute(path).lexically_normal()) {
    if (!path_.has_filename() && path_.has_relative_path()) path_ = path_.parent_path();
}

std::string URL::pathExtension() const {
    const std::string extension = path_.extension().string();
    return extension.empty() ? extension : extension.substr(1);
}

URL URL::appending(std::string_view component) const {
    return URL(path_ / component);
}

bool URL::exists() const {
    std::error_code ignored;
    return std::filesystem::exists(path_, ignored);
}

URL temporaryDirectory() {
    const char* variable = std::getenv("TMPDIR");
    URL directory(variable != nullptr && *variable != '\0' ? variable : "/var/tmp");
    struct stat status {};
    const bool isShared = stat(directory.path().c_str(), &status) == 0 && (status.st_mode & S_IWOTH) != 0;
    if (!isShared) return directory;
    const URL own = directory.appending("user-" + std::to_string(getuid()));
    mkdir(own.path().c_str(), S_IRWXU);
    // Anybody may have made it, and one of one's own may have been opened to others.
    const bool isOwn = lstat(own.path().c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
                       status.st_uid == getuid() && chmod(own.path().c_str(), S_IRWXU) == 0;
    return isOwn ? own : homeDirectory().appending(".cache");
}

URL homeDirectory() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') return URL(home);
    const passwd* entry = getpwuid(getuid());
    return URL(entry != nullptr ? entry->pw_dir : "/");
}

}  // namespace varnelle
