#pragma once

#include <QByteArray>
#include <cstdint>
#include <optional>
#include <string>

#include "foundation/URL.h"

namespace varnelle {

/// Files of things that were computed from media and can be computed again: bounded in all, those not used
/// for longest go first. A file appears whole or not at all, and one that was damaged counts as missing.
/// Stateless; several programs may use one directory, and any thread may.
class TimelineCacheDirectory {
public:
    static constexpr std::uint64_t kStandardMaximumBytes = 256'000'000;

    explicit TimelineCacheDirectory(URL directory = standardLocation(),
                                    std::uint64_t maximumBytes = kStandardMaximumBytes);
    /// "varnelle/timeline" under `$XDG_CACHE_HOME`, or `~/.cache` without it.
    static URL standardLocation();

    /// The name under which what was made from a media file is kept: another one once the file has been
    /// moved or changed. `kind` becomes the extension. Absent if the file can't be looked at.
    [[nodiscard]] static std::optional<std::string> name(const URL& media, const std::string& kind);

    [[nodiscard]] std::optional<QByteArray> read(const std::string& name) const;
    /// What can't be written is logged, and computed again another time.
    void write(const std::string& name, const QByteArray& contents) const;

private:
    void trim() const;

    URL directory_;
    std::uint64_t maximumBytes_;
};

}  // namespace varnelle
