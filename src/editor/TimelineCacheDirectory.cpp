#include "editor/TimelineCacheDirectory.h"

#include <sys/stat.h>

#include <QCryptographicHash>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "foundation/AtomicFile.h"
#include "foundation/Log.h"

namespace varnelle {
namespace {

constexpr auto kDigest = QCryptographicHash::Sha1;
/// Counts up whenever what is kept, or how, changes.
constexpr char kFormat[] = "2";

}  // namespace

TimelineCacheDirectory::TimelineCacheDirectory(URL directory, std::uint64_t maximumBytes)
    : directory_(std::move(directory)), maximumBytes_(maximumBytes) {}

URL TimelineCacheDirectory::standardLocation() {
    const char* cache = std::getenv("XDG_CACHE_HOME");
    const bool isUsable = cache != nullptr && cache[0] == '/';
    const URL directory = isUsable ? URL(std::filesystem::path(cache)) : homeDirectory().appending(".cache");
    return directory.appending("varnelle").appending("timeline");
}

std::optional<std::string> TimelineCacheDirectory::name(const URL& media, const std::string& kind) {
    struct stat status {};
    if (stat(media.string().c_str(), &status) != 0) return std::nullopt;
    QByteArray identity = QByteArray::fromStdString(media.string());
    for (const auto number :
         {static_cast<std::int64_t>(status.st_size), static_cast<std::int64_t>(status.st_mtim.tv_sec),
          static_cast<std::int64_t>(status.st_mtim.tv_nsec)}) {
        identity += '\0' + QByteArray::number(static_cast<qlonglong>(number));
    }
    identity += kFormat;
    return QCryptographicHash::hash(identity, kDigest).toHex().toStdString() + "." + kind;
}

std::optional<QByteArray> TimelineCacheDirectory::read(const std::string& name) const {
    const URL file = directory_.appending(name);
    try {
        if (!file.exists()) return std::nullopt;
        const QByteArray bytes = QByteArray::fromStdString(readFile(file, maximumBytes_));
        const int digestLength = QCryptographicHash::hashLength(kDigest);
        const QByteArray contents = bytes.mid(digestLength);
        if (bytes.left(digestLength) != QCryptographicHash::hash(contents, kDigest)) return std::nullopt;
        std::error_code ignored;
        std::filesystem::last_write_time(file.path(), std::filesystem::file_time_type::clock::now(), ignored);
        return contents;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void TimelineCacheDirectory::write(const std::string& name, const QByteArray& contents) const {
    try {
        std::filesystem::create_directories(directory_.path());
        const QByteArray bytes = QCryptographicHash::hash(contents, kDigest) + contents;
        writeFileAtomically(directory_.appending(name), bytes.toStdString());
        trim();
    } catch (const std::exception& error) {
        logger(LogCategory::app).warn("The timeline's pictures are not remembered. {}", error.what());
    }
}

void TimelineCacheDirectory::trim() const {
    struct File {
        std::filesystem::file_time_type lastUse;
        std::uint64_t bytes = 0;
        std::filesystem::path path;
    };
    std::vector<File> files;
    std::uint64_t total = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
        // Another program may be removing the same ones.
        std::error_code error;
        if (!entry.is_regular_file(error)) continue;
        File file{entry.last_write_time(error), 0, entry.path()};
        if (error) continue;
        file.bytes = entry.file_size(error);
        if (error) continue;
        total += file.bytes;
        files.push_back(std::move(file));
    }
    std::sort(files.begin(), files.end(), [](const File& a, const File& b) { return a.lastUse < b.lastUse; });
    for (const File& file : files) {
        if (total <= maximumBytes_) break;
        std::error_code ignored;
        std::filesystem::remove(file.path, ignored);
        total -= file.bytes;
    }
}

}  // namespace varnelle
