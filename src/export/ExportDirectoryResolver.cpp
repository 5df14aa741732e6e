#include "export/ExportDirectoryResolver.h"

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

ExportDirectoryResolver::ExportDirectoryResolver(UserDefaults& defaults, Chooser choose)
    : defaults_(defaults), choose_(std::move(choose)) {}

std::optional<URL> ExportDirectoryResolver::resolveExportDirectory(const URL& preferred) {
    if (isWritableDirectory(preferred)) return preferred;
    if (const auto remembered = defaults_.string(kExportDirectoryBookmarkKey);
        remembered && !remembered->empty()) {
        if (const URL folder(*remembered); isWritableDirectory(folder)) return folder;
    }
    const auto chosen = choose_(preferred);
    if (!chosen || !isWritableDirectory(*chosen)) return std::nullopt;
    defaults_.set(kExportDirectoryBookmarkKey, std::string_view(chosen->string()));
    return chosen;
}

}  // namespace varnelle
