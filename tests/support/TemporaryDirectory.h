#pragma once

#include <filesystem>

#include "foundation/URL.h"
#include "foundation/UUID.h"

namespace varnelle::test {

/// A fresh directory that goes away, with all that is in it, at the end of the test.
class TemporaryDirectory {
public:
    explicit TemporaryDirectory(const std::filesystem::path& parent = std::filesystem::temp_directory_path())
        : url_(parent / ("varnelle-test-" + UUID::random().string())) {
        std::filesystem::create_directories(url_.path());
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::permissions(url_.path(), std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(url_.path(), ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const URL& url() const { return url_; }
    [[nodiscard]] URL file(std::string_view name) const { return url_.appending(name); }
    /// How many entries there are, hidden ones included.
    [[nodiscard]] std::size_t entryCount() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(url_.path()), {}));
    }

private:
    URL url_;
};

}  // namespace varnelle::test
