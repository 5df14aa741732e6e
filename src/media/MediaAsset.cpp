#include "media/MediaAsset.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "media/MediaError.h"
#include "media/detail/MovieIndexInput.h"

namespace varnelle {
namespace {

/// Pixels. Nothing beyond this can be decoded or shown.
constexpr int kLargestSide = 16'384;
/// A movie longer than this (a year) has a broken index.
constexpr double kLongestSeconds = 365.0 * 24 * 3600;

/// What a walk over all packets tells about one stream.
struct StreamWalk {
    std::vector<SampleIndexEntry> entries;
    CMTime end = kCMTimeZero;  ///< of the sample that is presented last
    std::int64_t lastTicks = AV_NOPTS_VALUE;
    bool isReordered = false;
    std::int64_t firstDecodeTicks = AV_NOPTS_VALUE;
    int wholePackets = 0;
};

/// The container's matrix is for rows that grow downwards; the result is the same turn with y growing
/// upwards.
CGAffineTransform preferredTransform(const AVStream& stream) {
    const std::uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
    if (data == nullptr) return {};
    const auto* matrix = reinterpret_cast<const std::int32_t*>(data);
    const auto fixed = [matrix](int index) { return matrix[index] / 65536.0; };
    const CGAffineTransform down{fixed(0), fixed(1), fixed(3), fixed(4), fixed(6), fixed(7)};
    const double height = stream.codecpar->height;
    const CGRect turned = down.apply(CGRect{{0, 0}, {double(stream.codecpar->width), height}});
    CGAffineTransform up;
    up.a = down.a;
    up.b = -down.b;
    up.c = -down.c;
    up.d = down.d;
    up.tx = down.tx + down.c * height;
    up.ty = turned.height() - down.d * height - down.ty;
    return up;
}

double nominalFrameRate(const std::vector<SampleIndexEntry>& entries) {
    if (entries.size() < 2) return 0;
    std::vector<double> distances;
    distances.reserve(entries.size() - 1);
    for (std::size_t i = 1; i < entries.size(); ++i) {
        distances.push_back((entries[i].presentationTime - entries[i - 1].presentationTime).seconds());
    }
    const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
    std::nth_element(distances.begin(), middle, distances.end());
    return *middle > 0 ? 1 / *middle : 0;
}

std::map<int, StreamWalk> walkThroughPackets(detail::MovieIndexInput& input) {
    AVFormatContext& context = input.context();
    std::map<int, StreamWalk> walks;
    const detail::PacketPtr packet = detail::newPacket();
    while (av_read_frame(&context, packet.get()) >= 0) {
        const AVStream& stream = *context.streams[packet->stream_index];
        const std::int64_t ticks = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
        const bool isWhole = (packet->flags & AV_PKT_FLAG_CORRUPT) == 0;
        const bool isShown = isWhole && (packet->flags & AV_PKT_FLAG_DISCARD) == 0;
        if (isWhole) {
            StreamWalk& walk = walks[packet->stream_index];
            if (walk.wholePackets++ == 0) walk.firstDecodeTicks = packet->dts;
        }
        if (isShown && ticks != AV_NOPTS_VALUE) {
            StreamWalk& walk = walks[packet->stream_index];
            const CMTime time = detail::timeFromTicks(ticks, stream.time_base);
            const std::int64_t length = std::max<std::int64_t>(0, packet->duration);
            walk.isReordered = walk.isReordered || (packet->dts != AV_NOPTS_VALUE && packet->dts < ticks);
            if (walk.lastTicks == AV_NOPTS_VALUE || ticks >= walk.lastTicks) {
                walk.lastTicks = ticks;
                walk.end = detail::timeFromTicks(ticks + length, stream.time_base);
            }
            if (stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
                walk.entries.push_back({time, (packet->flags & AV_PKT_FLAG_KEY) != 0});
            }
        }
        av_packet_unref(packet.get());
    }
    return walks;
}

CMTime trackEnd(const AVStream& stream, const StreamWalk& walk, bool isFragmented) {
    // A recording in fragments, or one that was cut off, has no length that can be trusted. Where pictures
    // are reordered or an encoder primes its sound, the container's counts from the first presentation, else
    // from the first decoding time.
    const bool isComplete = !isFragmented && walk.wholePackets >= avformat_index_get_entries_count(&stream);
    const bool isUseful = stream.duration > 0 && walk.firstDecodeTicks != AV_NOPTS_VALUE;
    if (!isComplete || !isUseful) return walk.end;
    if (walk.isReordered || stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
        return std::max(walk.end, detail::timeFromTicks(stream.duration, stream.time_base));
    return detail::timeFromTicks(walk.firstDecodeTicks + stream.duration, stream.time_base);
}

}  // namespace

MediaAsset::MediaAsset(const URL& url) : url_(url), duration_(kCMTimeZero) {
    detail::MovieIndexInput input(url);
    AVFormatContext& context = input.context();
    std::map<int, StreamWalk> walks = walkThroughPackets(input);
    for (auto& [index, walk] : walks) {
        const AVStream& stream = *context.streams[index];
        const AVCodecParameters& parameters = *stream.codecpar;
        MediaTrack track;
        track.streamIndex = index;
        track.duration = trackEnd(stream, walk, input.isFragmented());
        if (!track.duration.isNumeric() || track.duration.seconds() > kLongestSeconds) {
            detail::throwNotAMovie(url, "its length is absurd");
        }
        if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) {
            if (parameters.width <= 0 || parameters.height <= 0 || parameters.width > kLargestSide ||
                parameters.height > kLargestSide) {
                detail::throwNotAMovie(url, "the size of its picture is absurd");
            }
            track.mediaType = MediaType::video;
            track.naturalSize = {double(parameters.width), double(parameters.height)};
            track.preferredTransform = preferredTransform(stream);
            std::sort(walk.entries.begin(), walk.entries.end(),
                      [](const SampleIndexEntry& a, const SampleIndexEntry& b) {
                          return a.presentationTime < b.presentationTime;
                      });
            track.nominalFrameRate = nominalFrameRate(walk.entries);
            track.sampleIndex =
                std::make_shared<const std::vector<SampleIndexEntry>>(std::move(walk.entries));
        } else if (parameters.codec_type == AVMEDIA_TYPE_AUDIO) {
            if (parameters.sample_rate <= 0 || parameters.ch_layout.nb_channels <= 0) {
                detail::throwNotAMovie(url, "its sound is damaged");
            }
            track.mediaType = MediaType::audio;
            track.channelCount = parameters.ch_layout.nb_channels;
            track.sampleRate = parameters.sample_rate;
        } else {
            continue;
        }
        duration_ = std::max(duration_, track.duration);
        tracks_.push_back(std::move(track));
    }
    if (tracks_.empty()) {
        throw MediaError(MediaError::Code::nothingRecorded,
                         "“" + url.string() + "” has nothing that can be shown or heard.");
    }
}

std::vector<MediaTrack> MediaAsset::tracks(MediaType type) const {
    std::vector<MediaTrack> result;
    std::copy_if(tracks_.begin(), tracks_.end(), std::back_inserter(result),
                 [type](const MediaTrack& track) { return track.mediaType == type; });
    return result;
}

}  // namespace varnelle
