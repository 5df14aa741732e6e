#pragma once

#include <optional>

#include "foundation/URL.h"
#include "foundation/UserDefaults.h"

namespace varnelle {

inline constexpr std::string_view kExportDirectoryBookmarkKey = "Varnelle.ExportDirectoryBookmark";

/// True if a file can be made in the directory, which is created if need be; found out by making one.
bool isWritableDirectory(const URL& directory);

/// A folder that exports can be written to: the preferred one, else the one that the user chose before;
/// absent if neither takes files.
std::optional<URL> usableExportDirectory(const UserDefaults& defaults, const URL& preferred);

/// Remembers the user's choice, if files can be written there; whether they can.
bool rememberExportDirectory(UserDefaults& defaults, const URL& chosen);

}  // namespace varnelle
