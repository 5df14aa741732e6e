#include "foundation/URL.h"

#include <pwd.h>
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
    const char* directory = std::getenv("TMPDIR");
    return URL(directory != nullptr && *directory != '\0' ? directory : "/var/tmp");
}

URL homeDirectory() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') return URL(home);
    const passwd* entry = getpwuid(getuid());
    return URL(entry != nullptr ? entry->pw_dir : "/");
}

}  // namespace varnelle
