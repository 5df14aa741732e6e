#include "media/detail/MovieFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "media/MediaError.h"

namespace varnelle::detail {

MovieFile::MovieFile(const URL& file, std::string shownName, FileType type, MovieLayout layout,
                     const std::vector<TrackDescription>& tracks)
    : shownName_(std::move(shownName)), layout_(layout) {
    silenceLibraries();
    check(avformat_alloc_output_context2(&context_, nullptr, type == FileType::quickTimeMovie ? "mov" : "mp4",
                                         file.string().c_str()));
    try {
        for (const TrackDescription& track : tracks) {
            AVStream* stream = avformat_new_stream(context_, nullptr);
            if (stream == nullptr) throw std::bad_alloc();
            check(avcodec_parameters_copy(stream->codecpar, track.parameters.get()));
            stream->time_base = track.timeBase;
            tracks_.push_back({track.timeBase, track.mediaType, nullptr});
        }
        check(avio_open(&context_->pb, file.string().c_str(), AVIO_FLAG_WRITE));
        AVDictionary* options = nullptr;
        av_dict_set_int(&options, "video_track_timescale", kVideoTimeBase.den, 0);
        // Edits are counted in the movie's time: as fine as the video's, or the first frame is shown late.
        av_dict_set_int(&options, "movie_timescale", kVideoTimeBase.den, 0);
        if (layout == MovieLayout::indexInFront) av_dict_set(&options, "movflags", "faststart", 0);
        if (layout == MovieLayout::fragments) {
            // Times are written as they are (frag_discont): there is no edit list before the first packet is
            // known.
            av_dict_set(&options, "movflags", "empty_moov+default_base_moof+frag_custom+frag_discont", 0);
            context_->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
        }
        const int result = avformat_write_header(context_, &options);
        av_dict_free(&options);
        check(result);
        avio_flush(context_->pb);
        check(context_->pb->error);
    } catch (...) {
        avio_closep(&context_->pb);
        avformat_free_context(context_);
        throw;
    }
}

MovieFile::~MovieFile() {
    avio_closep(&context_->pb);
    avformat_free_context(context_);
}

void MovieFile::write(std::size_t track, AVPacket& packet) {
    Track& state = tracks_.at(track);
    state.lastPresentation = std::max(state.lastPresentation, packet.pts);
    if (!state.hasStarted) state.firstDecode = packet.dts;
    state.hasStarted = true;
    if (layout_ == MovieLayout::fragments || state.mediaType != MediaType::video) {
        hand(track, packet);
        return;
    }
    if (state.held) {
        state.held->duration = packet.dts - state.held->dts;
        hand(track, *state.held);
    } else {
        state.held = newPacket();
    }
    av_packet_move_ref(state.held.get(), &packet);
}

void MovieFile::hand(std::size_t track, AVPacket& packet) {
    packet.stream_index = static_cast<int>(track);
    av_packet_rescale_ts(&packet, tracks_[track].timeBase, context_->streams[track]->time_base);
    // Fragments are collected for each track by itself; there is nothing to interleave.
    check(layout_ == MovieLayout::fragments ? av_write_frame(context_, &packet)
                                            : av_interleaved_write_frame(context_, &packet));
}

void MovieFile::flushFragment() {
    check(av_write_frame(context_, nullptr));
    // The library forgets this wish with each fragment, and would put the first packet of the next one where
    // the last packet of this one seemed to end.
    check(av_opt_set(context_->priv_data, "movflags", "+frag_discont", 0));
    avio_flush(context_->pb);
    check(context_->pb->error);
}

void MovieFile::close(const std::optional<CMTime>& end) {
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
        Track& track = tracks_[i];
        if (!track.held) continue;
        std::int64_t endTicks = track.lastPresentation + std::max<std::int64_t>(1, track.held->duration);
        if (end) endTicks = std::max(endTicks, ticksFromTime(*end, track.timeBase));
        // Readers take a track's length from its presentation times or from the sum of its samples' lengths,
        // which are counted in decoding order. Where pictures are reordered, the last one there isn't the
        // last one shown.
        track.held->duration =
            std::max(endTicks - track.held->pts, endTicks - track.held->dts + track.firstDecode);
        hand(i, *track.held);
        track.held.reset();
    }
    check(av_write_trailer(context_));
    check(avio_closep(&context_->pb));
}

void MovieFile::check(int result) {
    if (result >= 0) return;
    throw MediaError(MediaError::Code::cannotWrite,
                     fmt::format("Writing “{}” failed: {}.", shownName_, errorText(result)));
}

}  // namespace varnelle::detail
