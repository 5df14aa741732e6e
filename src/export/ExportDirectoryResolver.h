#pragma once

#include <functional>
#include <optional>

#include "foundation/URL.h"
#include "foundation/UserDefaults.h"

namespace varnelle {

inline constexpr std::string_view kExportDirectoryBookmarkKey = "Varnelle.ExportDirectoryBookmark";

/// True if a file can be made in the directory, which is created if need be; found out by making one.
bool isWritableDirectory(const URL& directory);

/// Finds a folder that exports can be written to: the preferred one, else the one that the user chose before,
/// else one that the user chooses now, which is remembered. Main thread only.
class ExportDirectoryResolver {
public:
    /// Asks the user for a folder, starting from the preferred one; absent if the question is cancelled.
    using Chooser = std::function<std::optional<URL>(const URL& preferred)>;

    ExportDirectoryResolver(UserDefaults& defaults, Chooser choose);

    [[nodiscard]] std::optional<URL> resolveExportDirectory(const URL& preferred);

private:
    UserDefaults& defaults_;
    Chooser choose_;
};

}  // namespace varnelle
