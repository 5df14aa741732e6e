#include "export/ExportDirectory.h"

#include <QCoro/QCoroFuture>

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

QCoro::Task<std::optional<URL>> resolveExportDirectory(UserDefaults& defaults, URL preferred,
                                                       ExportDirectoryChooser choose) {
    if (isWritableDirectory(preferred)) co_return preferred;
    if (const auto remembered = defaults.string(kExportDirectoryBookmarkKey);
        remembered && !remembered->empty()) {
        if (const URL folder(*remembered); isWritableDirectory(folder)) co_return folder;
    }
    const std::optional<URL> chosen = co_await choose(preferred);
    if (!chosen || !isWritableDirectory(*chosen)) co_return std::nullopt;
    defaults.set(kExportDirectoryBookmarkKey, std::string_view(chosen->string()));
    co_return chosen;
}

}  // namespace varnelle
