#include "media/detail/MovieIndexInput.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "media/MediaError.h"

namespace varnelle::detail {
namespace {

constexpr int kReadBufferBytes = 32 * 1024;

std::uint64_t bigEndian(const std::uint8_t* bytes, int count) {
    std::uint64_t value = 0;
    for (int i = 0; i < count; ++i) value = value << 8 | bytes[i];
    return value;
}

}  // namespace

void throwCannotOpen(const URL& url, const std::string& reason) {
    throw MediaError(MediaError::Code::cannotOpen,
                     fmt::format("“{}” can't be opened: {}.", url.string(), reason));
}

void throwNotAMovie(const URL& url, const std::string& reason) {
    throw MediaError(MediaError::Code::notAMovie,
                     fmt::format("“{}” isn't a movie that can be read: {}.", url.string(), reason));
}

MovieIndexInput::MovieIndexInput(const URL& url) {
    silenceLibraries();
    descriptor_ =
        open(url.string().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);  // a pipe would wait for a writer
    if (descriptor_ < 0) throwCannotOpen(url, std::strerror(errno));
    try {
        struct stat status {};
        if (fstat(descriptor_, &status) != 0) throwCannotOpen(url, std::strerror(errno));
        if (!S_ISREG(status.st_mode)) throwNotAMovie(url, "it isn't a file");
        size_ = status.st_size;
        if (size_ == 0) throwNotAMovie(url, "it is empty");
        findMediaData();
        auto* buffer = static_cast<std::uint8_t*>(av_malloc(kReadBufferBytes));
        if (buffer == nullptr) throw std::bad_alloc();
        reader_ = avio_alloc_context(buffer, kReadBufferBytes, 0, this, read, nullptr, seek);
        AVFormatContext* context = avformat_alloc_context();
        if (reader_ == nullptr || context == nullptr) throw std::bad_alloc();
        context->pb = reader_;
        context->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_NOPARSE;
        const int result = avformat_open_input(&context, nullptr, nullptr, nullptr);
        if (result < 0) {
            throwNotAMovie(url, result == AVERROR_INVALIDDATA || result == AVERROR_EOF
                                    ? std::string("it is damaged or of another kind")
                                    : errorText(result));
        }
        context_.reset(context);
    } catch (...) {
        if (reader_ != nullptr) av_freep(&reader_->buffer);
        avio_context_free(&reader_);
        close(descriptor_);
        throw;
    }
}

MovieIndexInput::~MovieIndexInput() {
    context_.reset();
    av_freep(&reader_->buffer);
    avio_context_free(&reader_);
    close(descriptor_);
}

void MovieIndexInput::findMediaData() {
    // Boxes: ISO/IEC 14496-12.
    std::int64_t at = 0;
    std::array<std::uint8_t, 16> header{};
    while (at + 8 <= size_ && pread(descriptor_, header.data(), header.size(), at) >= 8) {
        auto length = static_cast<std::int64_t>(bigEndian(header.data(), 4));
        const std::string_view type(reinterpret_cast<const char*>(header.data()) + 4, 4);
        std::int64_t headerLength = 8;
        if (length == 1) {
            length = static_cast<std::int64_t>(bigEndian(header.data() + 8, 8));
            headerLength = 16;
        }
        const std::int64_t end = length == 0 ? size_ : at + std::min(length, size_ - at);
        if (length != 0 && length < headerLength) return;
        if (type == "moof") isFragmented_ = true;
        if (type == "mdat") mediaData_.push_back({at + headerLength, end});
        if (end <= at) return;
        at = end;
    }
}

int MovieIndexInput::read(void* opaque, std::uint8_t* buffer, int size) {
    auto& self = *static_cast<MovieIndexInput*>(opaque);
    if (self.position_ >= self.size_) return AVERROR_EOF;
    const auto range = std::upper_bound(
        self.mediaData_.begin(), self.mediaData_.end(), self.position_,
        [](std::int64_t position, const MediaDataRange& media) { return position < media.end; });
    std::int64_t limit = self.size_;
    if (range != self.mediaData_.end()) limit = self.position_ >= range->begin ? range->end : range->begin;
    const auto count = static_cast<std::size_t>(std::min<std::int64_t>(size, limit - self.position_));
    if (range != self.mediaData_.end() && self.position_ >= range->begin) {
        // The smallest pieces are cleared so that nothing is ever parsed out of what the memory held before.
        std::memset(buffer, 0, std::min<std::size_t>(count, kReadBufferBytes));
        self.position_ += static_cast<std::int64_t>(count);
        return static_cast<int>(count);
    }
    const ssize_t result = pread(self.descriptor_, buffer, count, self.position_);
    if (result < 0) return AVERROR(errno);
    if (result == 0) return AVERROR_EOF;
    self.position_ += result;
    return static_cast<int>(result);
}

std::int64_t MovieIndexInput::seek(void* opaque, std::int64_t offset, int whence) {
    auto& self = *static_cast<MovieIndexInput*>(opaque);
    switch (whence & ~AVSEEK_FORCE) {
        case AVSEEK_SIZE:
            return self.size_;
        case SEEK_CUR:
            offset += self.position_;
            break;
        case SEEK_END:
            offset += self.size_;
            break;
        default:
            break;
    }
    if (offset < 0) return AVERROR(EINVAL);
    self.position_ = offset;
    return offset;
}

}  // namespace varnelle::detail
