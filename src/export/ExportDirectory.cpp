#include "export/ExportDirectory.h"

#include "foundation/AtomicFile.h"
#include "foundation/UUID.h"

namespace varnelle {

bool isWritableDirectory(const URL& directory) {
    const URL probe = directory.appending(".varnelle-write-probe-" + UUID::random().string());
    try {
        std::filesystem::create_directories(directory.path());
        writeFileAtomically(probe, "");
        std::filesystem::remove(probe.path());
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

std::optional<URL> usableExportDirectory(const UserDefaults& defaults, const URL& preferred) {
    if (isWritableDirectory(preferred)) return preferred;
    const std::string remembered = defaults.string(kExportDirectoryBookmarkKey).value_or("");
    if (remembered.empty() || !isWritableDirectory(URL(remembered))) return std::nullopt;
    return URL(remembered);
}

bool rememberExportDirectory(UserDefaults& defaults, const URL& chosen) {
    if (!isWritableDirectory(chosen)) return false;
    defaults.set(kExportDirectoryBookmarkKey, std::string_view(chosen.string()));
    return true;
}

}  // namespace varnelle
