#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "media/AssetWriter.h"
#include "media/detail/MovieFile.h"

namespace varnelle::detail {

/// Takes the packets of all tracks of one movie and sees to it that a good file stands at the destination in
/// the end.
///
/// A movie that survives termination grows at its destination in fragments. A thread ends a fragment half a
/// second after its first packet by the clock, because a still screen brings no packet that could do it. Safe
/// to share between threads; a failure of the flushing thread is thrown by the next call.
class Muxer {
public:
    Muxer(const URL& destination, FileType type, AssetWriter::Options options);
    ~Muxer();
    Muxer(const Muxer&) = delete;
    Muxer& operator=(const Muxer&) = delete;

    /// Before `open`. Returns the track's number.
    std::size_t addTrack(const AVCodecContext& encoder, AVRational timeBase, MediaType mediaType);
    /// Creates the file. Throws `MediaError` (`cannotWrite`), like all below.
    void open();
    void write(std::size_t track, AVPacket& packet);
    /// Completes the movie, flushes it to the disk and puts it in its place. A movie without packets is an
    /// error. Whoever can cancel decides at the last moment: `commit` either runs the given placing, as one
    /// step with refusing later cancellations, or returns false, and then nothing is left.
    using Commit = std::function<bool(const std::function<void()>& place)>;
    void finish(const std::optional<CMTime>& end, const Commit& commit);
    /// Gives up: nothing is written any more.
    enum class Leftover { remove, keepIfReadable };
    void abandon(Leftover leftover);

private:
    void finishRegular(const std::optional<CMTime>& end, const Commit& commit);
    void finishFragmented(const std::optional<CMTime>& end, const Commit& commit);
    void replaceDestination() const;
    [[nodiscard]] InputPtr openFragments() const;
    [[nodiscard]] std::vector<TrackDescription> tracksOf(const AVFormatContext& fragments) const;
    void copyInto(MovieFile& movie, AVFormatContext& fragments);
    void checkRead(int result) const;
    void flushInTime();
    void stopFlushing();
    [[nodiscard]] URL hiddenURL() const;
    [[nodiscard]] bool isFragmented() const { return options_.survivesTermination; }

    const URL destination_;
    const FileType type_;
    const AssetWriter::Options options_;
    const URL staging_;
    std::atomic<bool> isAbandoned_ = false;

    std::mutex mutex_;
    std::condition_variable wakeUp_;
    // guarded by mutex_
    std::vector<TrackDescription> tracks_;
    std::unique_ptr<MovieFile> movie_;
    std::vector<PacketPtr> priming_;  // sound before zero, which only a regular movie can hold
    std::optional<std::chrono::steady_clock::time_point> oldestUnflushed_;
    std::exception_ptr flushError_;
    std::size_t writtenPackets_ = 0;
    bool isStopping_ = false;

    std::thread flusher_;
};

}  // namespace varnelle::detail
