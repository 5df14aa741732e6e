#include "foundation/Resources.h"

namespace varnelle {
namespace {

URL resourceDirectory() {
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        URL installed = URL(executable).parent().parent().appending("share/varnelle");
        if (installed.exists()) return installed;
    }
    return URL(VARNELLE_RESOURCE_DIRECTORY);
}

}  // namespace

URL resourceURL(std::string_view relativePath) {
    static const URL directory = resourceDirectory();
    return directory.appending(relativePath);
}

}  // namespace varnelle
