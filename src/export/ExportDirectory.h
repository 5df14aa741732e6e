#pragma once

#include <QCoro/QCoroTask>
#include <QFuture>
#include <functional>
#include <optional>

#include "foundation/URL.h"
#include "foundation/UserDefaults.h"

namespace varnelle {

inline constexpr std::string_view kExportDirectoryBookmarkKey = "Varnelle.ExportDirectoryBookmark";

/// True if a file can be made in the directory, which is created if need be; found out by making one.
bool isWritableDirectory(const URL& directory);

/// Asks the user for a folder, starting from the preferred one; absent if the question is cancelled.
using ExportDirectoryChooser = std::function<QFuture<std::optional<URL>>(const URL& preferred)>;

/// Finds a folder that exports can be written to: the preferred one, else the one that the user chose before,
/// else one that the user chooses now, which is remembered. Main thread only. `defaults` and what `choose`
/// refers to must outlive the task.
QCoro::Task<std::optional<URL>> resolveExportDirectory(UserDefaults& defaults, URL preferred,
                                                       ExportDirectoryChooser choose);

}  // namespace varnelle
