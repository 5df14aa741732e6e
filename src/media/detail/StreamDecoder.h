#pragma once

#include <string>

#include "foundation/URL.h"
#include "media/detail/FFmpegPtr.h"

namespace varnelle::detail {

/// What messages call the contents of a stream.
struct StreamWords {
    const char* whole;  ///< "The picture"
    const char* piece;  ///< "a picture"
};

/// Decodes one stream of a file in presentation order. A packet that can't be decoded is skipped, which is
/// logged once. For one thread at a time.
class StreamDecoder {
public:
    /// Decodes on up to `threadCount` threads of the library's. Throws `MediaError` (`cannotOpen`,
    /// `cannotDecode`).
    StreamDecoder(const URL& url, int streamIndex, StreamWords words, unsigned threadCount);

    /// Goes to a key frame at or before the time.
    void seek(const CMTime& time);
    /// The next good frame, whose `pts` is its presentation time in ticks of `timeBase()`; null at the end.
    [[nodiscard]] FramePtr next();

    [[nodiscard]] AVRational timeBase() const { return stream_->time_base; }
    [[noreturn]] void throwCannotDecode(const std::string& reason) const;

private:
    void open(int streamIndex, unsigned threadCount);
    [[nodiscard]] bool feed();
    void skipDamage(const char* what);

    URL url_;
    StreamWords words_;
    InputPtr input_;
    AVStream* stream_ = nullptr;
    CodecContextPtr context_;
    PacketPtr packet_;
    bool isDraining_ = false;
    bool hasLoggedDamage_ = false;
};

}  // namespace varnelle::detail
