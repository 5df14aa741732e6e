#include "media/detail/Muxer.h"

#include <fmt/format.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "foundation/AtomicFile.h"
#include "foundation/Log.h"
#include "foundation/UUID.h"
#include "media/MediaError.h"

namespace varnelle::detail {
namespace {

constexpr auto kLongestFragment = std::chrono::milliseconds(500);

void removeFile(const URL& url) {
    unlink(url.string().c_str());
}

}  // namespace

Muxer::Muxer(const URL& destination, FileType type, AssetWriter::Options options)
    : destination_(destination), type_(type), options_(options), staging_(hiddenURL()) {}

Muxer::~Muxer() {
    stopFlushing();
}

URL Muxer::hiddenURL() const {
    return destination_.parent().appending("." + destination_.lastPathComponent() + "-" +
                                           UUID::random().string());
}

std::size_t Muxer::addTrack(const AVCodecContext& encoder, AVRational timeBase, MediaType mediaType) {
    CodecParametersPtr parameters(avcodec_parameters_alloc());
    if (!parameters || avcodec_parameters_from_context(parameters.get(), &encoder) < 0)
        throw std::bad_alloc();
    const std::lock_guard lock(mutex_);
    tracks_.push_back({std::move(parameters), timeBase, mediaType});
    return tracks_.size() - 1;
}

void Muxer::open() {
    const std::lock_guard lock(mutex_);
    const MovieLayout regular =
        options_.optimizesForNetworkUse ? MovieLayout::indexInFront : MovieLayout::indexAtEnd;
    try {
        movie_ =
            std::make_unique<MovieFile>(isFragmented() ? destination_ : staging_, destination_.string(),
                                        type_, isFragmented() ? MovieLayout::fragments : regular, tracks_);
    } catch (...) {
        if (isFragmented()) removeFile(destination_);
        throw;
    }
    if (isFragmented()) flusher_ = std::thread([this] { flushInTime(); });
}

void Muxer::write(std::size_t track, AVPacket& packet) {
    const std::lock_guard lock(mutex_);
    if (flushError_) std::rethrow_exception(flushError_);
    if (!movie_) return;
    ++writtenPackets_;
    if (isFragmented() && packet.dts < 0) {
        packet.stream_index = static_cast<int>(track);
        priming_.push_back(newPacket());
        av_packet_move_ref(priming_.back().get(), &packet);
        return;
    }
    movie_->write(track, packet);
    if (isFragmented() && !oldestUnflushed_) {
        oldestUnflushed_ = std::chrono::steady_clock::now();
        wakeUp_.notify_all();
    }
}

void Muxer::flushInTime() {
    pthread_setname_np(pthread_self(), "movie-fragments");
    std::unique_lock lock(mutex_);
    while (true) {
        wakeUp_.wait(lock, [this] { return isStopping_ || oldestUnflushed_; });
        if (isStopping_) return;
        const auto deadline = *oldestUnflushed_ + kLongestFragment;
        wakeUp_.wait_until(lock, deadline, [this] { return isStopping_; });
        if (isStopping_) return;
        oldestUnflushed_.reset();
        if (!movie_) continue;
        try {
            movie_->flushFragment();
        } catch (...) {
            flushError_ = std::current_exception();
            return;
        }
    }
}

void Muxer::stopFlushing() {
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
    }
    wakeUp_.notify_all();
    if (flusher_.joinable()) flusher_.join();
}

void Muxer::finish(const std::optional<CMTime>& end, const Commit& commit) {
    stopFlushing();
    {
        const std::lock_guard lock(mutex_);
        if (flushError_) std::rethrow_exception(flushError_);
        if (!movie_) return;
        if (writtenPackets_ == 0) {
            throw MediaError(MediaError::Code::cannotWrite,
                             fmt::format("“{}” wasn't written: it has no pictures and no sound.",
                                         destination_.lastPathComponent()));
        }
    }
    try {
        if (isFragmented()) {
            finishFragmented(end, commit);
        } else {
            finishRegular(end, commit);
        }
    } catch (const FileError& error) {
        throw MediaError(MediaError::Code::cannotWrite, error.what());
    }
}

void Muxer::finishRegular(const std::optional<CMTime>& end, const Commit& commit) {
    std::unique_ptr<MovieFile> movie;
    {
        const std::lock_guard lock(mutex_);
        movie = std::move(movie_);
    }
    if (!movie) return;
    // Moving the index to the front copies the whole movie. Whoever cancels meanwhile needn't wait for that.
    movie->close(end);
    movie.reset();
    if (!isAbandoned_) flushToDisk(staging_);
    if (!commit([this] { replaceDestination(); })) {
        removeFile(staging_);
        return;
    }
    flushToDisk(destination_.parent());
}

void Muxer::replaceDestination() const {
    if (std::rename(staging_.string().c_str(), destination_.string().c_str()) != 0) {
        throw FileError("Writing", destination_.string(), errno);
    }
}

void Muxer::finishFragmented(const std::optional<CMTime>& end, const Commit& commit) {
    {
        const std::lock_guard lock(mutex_);
        if (!movie_) return;
        movie_->flushFragment();
        movie_->close(std::nullopt);
        movie_.reset();
    }
    flushToDisk(destination_);
    bool isInPlace = false;
    try {
        const InputPtr fragments = openFragments();
        const MovieLayout layout =
            options_.optimizesForNetworkUse ? MovieLayout::indexInFront : MovieLayout::indexAtEnd;
        MovieFile movie(staging_, destination_.string(), type_, layout, tracksOf(*fragments));
        copyInto(movie, *fragments);
        if (!isAbandoned_) {
            movie.close(end);
            flushToDisk(staging_);
        }
        isInPlace = commit([this] { replaceDestination(); });
        if (isInPlace) flushToDisk(destination_.parent());
    } catch (const Error& error) {
        // The fragments hold the whole movie; only its index is spread over the file.
        isInPlace = isInPlace || commit([] {});
        if (isInPlace) logger(LogCategory::recording).warn("Kept the movie in fragments. {}", error.what());
        removeFile(staging_);
    }
    if (isInPlace) return;
    removeFile(staging_);
    removeFile(destination_);
}

InputPtr Muxer::openFragments() const {
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr) throw std::bad_alloc();
    context->flags |= AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
    checkRead(avformat_open_input(&context, destination_.string().c_str(), nullptr, nullptr));
    InputPtr input(context);
    if (context->nb_streams != tracks_.size()) checkRead(AVERROR_INVALIDDATA);
    return input;
}

std::vector<TrackDescription> Muxer::tracksOf(const AVFormatContext& fragments) const {
    std::vector<TrackDescription> result;
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
        CodecParametersPtr parameters(avcodec_parameters_alloc());
        if (!parameters) throw std::bad_alloc();
        checkRead(avcodec_parameters_copy(parameters.get(), tracks_[i].parameters.get()));
        // The encoder's header is in the encoder's byte format, and that in the file in the container's. It
        // tells the container which of the two the packets have.
        const AVCodecParameters& stored = *fragments.streams[i]->codecpar;
        av_freep(&parameters->extradata);
        const auto size = static_cast<std::size_t>(stored.extradata_size);
        parameters->extradata = static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
        if (parameters->extradata == nullptr) throw std::bad_alloc();
        std::copy_n(stored.extradata, size, parameters->extradata);
        parameters->extradata_size = stored.extradata_size;
        result.push_back({std::move(parameters), tracks_[i].timeBase, tracks_[i].mediaType});
    }
    return result;
}

void Muxer::copyInto(MovieFile& movie, AVFormatContext& fragments) {
    for (const PacketPtr& packet : priming_)
        movie.write(static_cast<std::size_t>(packet->stream_index), *packet);
    const PacketPtr packet = newPacket();
    std::size_t copied = priming_.size();
    while (!isAbandoned_) {
        const int result = av_read_frame(&fragments, packet.get());
        if (result == AVERROR_EOF) break;
        checkRead(result);
        const auto track = static_cast<std::size_t>(packet->stream_index);
        av_packet_rescale_ts(packet.get(), fragments.streams[track]->time_base, tracks_[track].timeBase);
        packet->pos = -1;
        ++copied;
        movie.write(track, *packet);
        av_packet_unref(packet.get());
    }
    // Whatever may be wrong with the file, a copy that lacks something never replaces it.
    if (!isAbandoned_ && copied != writtenPackets_) checkRead(AVERROR_INVALIDDATA);
}

void Muxer::checkRead(int result) const {
    if (result >= 0) return;
    throw MediaError(MediaError::Code::cannotOpen,
                     fmt::format("Reading “{}” failed: {}.", destination_.string(), errorText(result)));
}

void Muxer::abandon(Leftover leftover) {
    isAbandoned_ = true;
    const std::lock_guard lock(mutex_);
    const bool wasOpen = movie_ != nullptr;
    if (movie_ && isFragmented() && leftover == Leftover::keepIfReadable && writtenPackets_ > 0) {
        try {
            movie_->flushFragment();
        } catch (const Error& error) {
            logger(LogCategory::recording).warn("The end of the movie is lost. {}", error.what());
        }
    }
    movie_.reset();
    removeFile(staging_);
    const bool keeps = leftover == Leftover::keepIfReadable && writtenPackets_ > 0;
    if (isFragmented() && wasOpen && !keeps) removeFile(destination_);
}

}  // namespace varnelle::detail
