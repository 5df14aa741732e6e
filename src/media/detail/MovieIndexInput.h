#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "foundation/URL.h"
#include "media/detail/FFmpegPtr.h"

namespace varnelle::detail {

/// A stretch of a file that holds nothing but encoded media.
struct MediaDataRange {
    std::int64_t begin = 0;
    std::int64_t end = 0;
};

/// A movie file opened for its index: the container is parsed as usual, but encoded media isn't fetched from
/// the disk, so that all packets of an hour can be walked through in a moment. Their bytes are meaningless.
class MovieIndexInput {
public:
    /// Throws `MediaError` (`cannotOpen`, `notAMovie`).
    explicit MovieIndexInput(const URL& url);
    ~MovieIndexInput();
    MovieIndexInput(const MovieIndexInput&) = delete;
    MovieIndexInput& operator=(const MovieIndexInput&) = delete;

    [[nodiscard]] AVFormatContext& context() { return *context_; }
    [[nodiscard]] bool isFragmented() const { return isFragmented_; }

private:
    static int read(void* opaque, std::uint8_t* buffer, int size);
    static std::int64_t seek(void* opaque, std::int64_t offset, int whence);
    void findMediaData();

    int descriptor_ = -1;
    std::int64_t size_ = 0;
    std::int64_t position_ = 0;
    std::vector<MediaDataRange> mediaData_;  // ascending
    bool isFragmented_ = false;
    AVIOContext* reader_ = nullptr;
    InputPtr context_;
};

/// Sentences for a file that can't be used; `reason` is a clause.
[[noreturn]] void throwCannotOpen(const URL& url, const std::string& reason);
[[noreturn]] void throwNotAMovie(const URL& url, const std::string& reason);

}  // namespace varnelle::detail
