#include "support/PipeWireFeeders.h"

#include <jpeglib.h>
#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/video/format-utils.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <stdexcept>

namespace varnelle::test {
namespace {

constexpr int kBits = 12;
constexpr int kBright = 200;
constexpr int kDark = 50;
constexpr int kGrey = 126;
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

std::int64_t monotonicNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
}

/// A program's connection to the server with a thread.
class Connection {
public:
    explicit Connection(const std::string& remoteName) {
        pw_init(nullptr, nullptr);
        thread = pw_thread_loop_new("feeder", nullptr);
        context = pw_context_new(pw_thread_loop_get_loop(thread), nullptr, 0);
        pw_thread_loop_start(thread);
        const Lock lock(*this);
        core = pw_context_connect(context, pw_properties_new(PW_KEY_REMOTE_NAME, remoteName.c_str(), nullptr),
                                  0);
        if (core == nullptr) throw std::runtime_error("no connection to the test's server");
    }
    ~Connection() {
        pw_thread_loop_stop(thread);
        pw_context_destroy(context);
        pw_thread_loop_destroy(thread);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    class Lock {
    public:
        explicit Lock(const Connection& connection) : thread_(connection.thread) {
            pw_thread_loop_lock(thread_);
        }
        ~Lock() { pw_thread_loop_unlock(thread_); }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        pw_thread_loop* thread_;
    };

    pw_thread_loop* thread = nullptr;
    pw_context* context = nullptr;
    pw_core* core = nullptr;
};

struct PodMemory {
    std::array<std::uint8_t, 4096> bytes{};
    spa_pod_builder builder{};
    PodMemory() { spa_pod_builder_init(&builder, bytes.data(), static_cast<std::uint32_t>(bytes.size())); }
};

}  // namespace

class SoundFeeder::Implementation {
public:
    Implementation(const std::string& remoteName, SampleFunction function, const Options& options)
        : connection_(remoteName),
          function_(std::move(function)),
          rate_(options.rate),
          channels_(options.channels) {
        const Connection::Lock lock(connection_);
        const bool isMicrophone = !options.microphoneName.empty();
        pw_properties* const properties =
            pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Playback", PW_KEY_NODE_NAME,
                              isMicrophone ? options.microphoneName.c_str() : "player", PW_KEY_NODE_LATENCY,
                              "1024/48000", nullptr);
        int flags = PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS;
        if (isMicrophone) {
            pw_properties_set(properties, PW_KEY_MEDIA_CLASS, "Audio/Source");
            pw_properties_set(properties, PW_KEY_NODE_DESCRIPTION, options.microphoneDescription.c_str());
        } else {
            flags |= PW_STREAM_FLAG_AUTOCONNECT;
        }
        stream_ = pw_stream_new(connection_.core, "feeder", properties);
        static const pw_stream_events kEvents = [] {
            pw_stream_events events{};
            events.version = PW_VERSION_STREAM_EVENTS;
            events.process = [](void* self) { static_cast<Implementation*>(self)->process(); };
            return events;
        }();
        pw_stream_add_listener(stream_, &listener_, &kEvents, this);
        PodMemory memory;
        spa_audio_info_raw info{};
        info.format = SPA_AUDIO_FORMAT_F32;
        info.rate = static_cast<std::uint32_t>(options.rate);
        info.channels = static_cast<std::uint32_t>(options.channels);
        constexpr std::array positions{SPA_AUDIO_CHANNEL_FL,  SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_FC,
                                       SPA_AUDIO_CHANNEL_LFE, SPA_AUDIO_CHANNEL_RL, SPA_AUDIO_CHANNEL_RR,
                                       SPA_AUDIO_CHANNEL_SL,  SPA_AUDIO_CHANNEL_SR};
        std::copy_n(positions.begin(), options.channels, info.position);
        if (options.channels == 1) info.position[0] = SPA_AUDIO_CHANNEL_MONO;
        for (std::uint32_t i = 0; options.isUnpositioned && i < info.channels; ++i) {
            info.position[i] = SPA_AUDIO_CHANNEL_AUX0 + i;
        }
        const spa_pod* parameter = spa_format_audio_raw_build(&memory.builder, SPA_PARAM_EnumFormat, &info);
        if (pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY, static_cast<pw_stream_flags>(flags),
                              &parameter, 1) < 0) {
            throw std::runtime_error("the test's sound doesn't connect");
        }
    }
    ~Implementation() {
        const Connection::Lock lock(connection_);
        spa_hook_remove(&listener_);
        pw_stream_destroy(stream_);
    }
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    [[nodiscard]] std::int64_t position() const { return position_; }
    [[nodiscard]] std::optional<std::int64_t> timeOf(std::int64_t sample) const {
        const std::lock_guard lock(mutex_);
        if (sample >= position_ || times_.empty()) return std::nullopt;
        const auto after = times_.upper_bound(sample);
        if (after == times_.begin()) return std::nullopt;
        const auto& [begin, time] = *std::prev(after);
        return time + (sample - begin) * kNanosecondsPerSecond / rate_;
    }

private:
    void process() {
        pw_buffer* const buffer = pw_stream_dequeue_buffer(stream_);
        if (buffer == nullptr) return;
        spa_data& data = buffer->buffer->datas[0];
        const auto frameBytes = static_cast<std::uint32_t>(channels_) * sizeof(float);
        std::uint64_t frames = data.maxsize / frameBytes;
        if (buffer->requested > 0) frames = std::min(frames, buffer->requested);
        auto* const samples = static_cast<float*>(data.data);
        pw_time time{};
        pw_stream_get_time_n(stream_, &time, sizeof time);
        const std::int64_t begin = position_;
        for (std::uint64_t frame = 0; frame < frames; ++frame) {
            for (int channel = 0; channel < channels_; ++channel) {
                samples[frame * static_cast<std::uint64_t>(channels_) + static_cast<std::uint64_t>(channel)] =
                    function_(begin + static_cast<std::int64_t>(frame), channel);
            }
        }
        data.chunk->offset = 0;
        data.chunk->stride = static_cast<std::int32_t>(frameBytes);
        data.chunk->size = static_cast<std::uint32_t>(frames) * frameBytes;
        {
            const std::lock_guard lock(mutex_);
            times_[begin] = time.now;
        }
        position_ = begin + static_cast<std::int64_t>(frames);
        pw_stream_queue_buffer(stream_, buffer);
    }

    Connection connection_;
    SampleFunction function_;
    int rate_;
    int channels_;
    pw_stream* stream_ = nullptr;
    spa_hook listener_{};
    std::atomic<std::int64_t> position_ = 0;
    mutable std::mutex mutex_;
    std::map<std::int64_t, std::int64_t> times_;  // guarded by mutex_
};

SoundFeeder::SoundFeeder(const std::string& remoteName, SampleFunction function, Options options)
    : implementation_(std::make_unique<Implementation>(remoteName, std::move(function), options)) {}
SoundFeeder::SoundFeeder(const std::string& remoteName, SampleFunction function)
    : SoundFeeder(remoteName, std::move(function), Options()) {}
SoundFeeder::~SoundFeeder() = default;

std::int64_t SoundFeeder::position() const {
    return implementation_->position();
}
std::optional<std::int64_t> SoundFeeder::timeOf(std::int64_t sample) const {
    return implementation_->timeOf(sample);
}

class ExtraSink::Implementation {
public:
    Implementation(const std::string& remoteName, const std::string& name) : connection_(remoteName) {
        const Connection::Lock lock(connection_);
        pw_properties* const properties =
            pw_properties_new("factory.name", "support.null-audio-sink", PW_KEY_NODE_NAME, name.c_str(),
                              PW_KEY_MEDIA_CLASS, "Audio/Sink", "audio.position", "FL,FR", nullptr);
        proxy_ = static_cast<pw_proxy*>(pw_core_create_object(
            connection_.core, "adapter", PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, &properties->dict, 0));
        pw_properties_free(properties);
        if (proxy_ == nullptr) throw std::runtime_error("no further output");
    }
    ~Implementation() {
        const Connection::Lock lock(connection_);
        pw_proxy_destroy(proxy_);
    }
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

private:
    Connection connection_;
    pw_proxy* proxy_ = nullptr;
};

ExtraSink::ExtraSink(const std::string& remoteName, const std::string& name)
    : implementation_(std::make_unique<Implementation>(remoteName, name)) {}
ExtraSink::~ExtraSink() = default;

int numberedLuma(int number, double x, double y) {
    if (y >= 0.5) return kGrey;
    const int bit = std::min(static_cast<int>(x * kBits), kBits - 1);
    return ((number >> bit) & 1) != 0 ? kBright : kDark;
}

int numberFrom(const std::function<int(double x, double y)>& lumaAt) {
    int number = 0;
    for (int bit = 0; bit < kBits; ++bit) {
        if (lumaAt((bit + 0.5) / kBits, 0.25) > (kBright + kDark) / 2) number |= 1 << bit;
    }
    return number;
}

namespace {

using Layout = VirtualCamera::Layout;

std::uint32_t spaFormat(Layout layout) {
    switch (layout) {
        case Layout::yuy2:
            return SPA_VIDEO_FORMAT_YUY2;
        case Layout::nv12:
            return SPA_VIDEO_FORMAT_NV12;
        case Layout::i420:
            return SPA_VIDEO_FORMAT_I420;
        case Layout::bgrx:
            return SPA_VIDEO_FORMAT_BGRx;
        case Layout::mjpeg:
            break;
    }
    return SPA_VIDEO_FORMAT_UNKNOWN;
}

std::size_t bytesPerRow(const VirtualCamera::Offer& offer) {
    const auto width = static_cast<std::size_t>(offer.widthPixels);
    switch (offer.layout) {
        case Layout::yuy2:
            return (width + 1) / 2 * 4;
        case Layout::bgrx:
            return width * 4;
        case Layout::nv12:
        case Layout::i420:
            return (width + 3) / 4 * 4;
        case Layout::mjpeg:
            break;
    }
    return 0;
}

std::size_t byteCount(const VirtualCamera::Offer& offer) {
    const auto height = static_cast<std::size_t>(offer.heightPixels);
    const std::size_t row = bytesPerRow(offer);
    switch (offer.layout) {
        case Layout::yuy2:
        case Layout::bgrx:
            return row * height;
        case Layout::nv12:
        case Layout::i420:
            return row * height + row * ((height + 1) / 2);
        case Layout::mjpeg:
            break;
    }
    return static_cast<std::size_t>(offer.widthPixels) * height * 3 + 4096;
}

std::size_t paintJPEG(const VirtualCamera::Offer& offer, int number, std::uint8_t* target,
                      std::size_t capacity) {
    jpeg_compress_struct compressor{};
    jpeg_error_mgr errors{};
    compressor.err = jpeg_std_error(&errors);
    jpeg_create_compress(&compressor);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&compressor, &memory, &size);
    compressor.image_width = static_cast<JDIMENSION>(offer.widthPixels);
    compressor.image_height = static_cast<JDIMENSION>(offer.heightPixels);
    compressor.input_components = 3;
    compressor.in_color_space = JCS_YCbCr;
    jpeg_set_defaults(&compressor);
    // As cameras do: half of the colour across only.
    compressor.comp_info[0].h_samp_factor = 2;
    compressor.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&compressor, TRUE);
    std::vector<std::uint8_t> row(static_cast<std::size_t>(offer.widthPixels) * 3, 128);
    for (int y = 0; y < offer.heightPixels; ++y) {
        for (int x = 0; x < offer.widthPixels; ++x) {
            row[static_cast<std::size_t>(x) * 3] = static_cast<std::uint8_t>(
                numberedLuma(number, (x + 0.5) / offer.widthPixels, (y + 0.5) / offer.heightPixels));
        }
        JSAMPROW rows = row.data();
        jpeg_write_scanlines(&compressor, &rows, 1);
    }
    jpeg_finish_compress(&compressor);
    jpeg_destroy_compress(&compressor);
    const std::size_t written = size <= capacity ? size : 0;
    std::memcpy(target, memory, written);
    std::free(memory);
    return written;
}

/// Returns how many bytes the picture has.
std::size_t paint(const VirtualCamera::Offer& offer, int number, std::uint8_t* target, std::size_t capacity) {
    if (offer.layout == Layout::mjpeg) return paintJPEG(offer, number, target, capacity);
    const std::size_t size = byteCount(offer);
    if (size > capacity) return 0;
    std::memset(target, 128, size);
    const std::size_t row = bytesPerRow(offer);
    for (int y = 0; y < offer.heightPixels; ++y) {
        std::uint8_t* const line = target + static_cast<std::size_t>(y) * row;
        for (int x = 0; x < offer.widthPixels; ++x) {
            const auto luma = static_cast<std::uint8_t>(
                numberedLuma(number, (x + 0.5) / offer.widthPixels, (y + 0.5) / offer.heightPixels));
            if (offer.layout == Layout::bgrx) {
                std::memset(line + static_cast<std::size_t>(x) * 4, luma, 4);
            } else {
                line[static_cast<std::size_t>(x) * (offer.layout == Layout::yuy2 ? 2 : 1)] = luma;
            }
        }
    }
    return size;
}

}  // namespace

class VirtualCamera::Implementation {
public:
    Implementation(const std::string& remoteName, const std::string& name, const std::string& description,
                   std::vector<Offer> offers, bool isSilent)
        : offers_(std::move(offers)), isSilent_(isSilent), connection_(remoteName) {
        const Connection::Lock lock(connection_);
        stream_ = pw_stream_new(connection_.core, "camera",
                                pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_MEDIA_ROLE,
                                                  "Camera", PW_KEY_NODE_NAME, name.c_str(),
                                                  PW_KEY_NODE_DESCRIPTION, description.c_str(), nullptr));
        static const pw_stream_events kEvents = [] {
            pw_stream_events events{};
            events.version = PW_VERSION_STREAM_EVENTS;
            events.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char*) {
                static_cast<Implementation*>(self)->run(state == PW_STREAM_STATE_STREAMING);
            };
            events.param_changed = [](void* self, std::uint32_t id, const spa_pod* parameter) {
                if (id == SPA_PARAM_Format) static_cast<Implementation*>(self)->agree(parameter);
            };
            events.process = [](void* self) { static_cast<Implementation*>(self)->deliver(); };
            return events;
        }();
        pw_stream_add_listener(stream_, &listener_, &kEvents, this);
        const auto onTimer = [](void* self, std::uint64_t) {
            pw_stream_trigger_process(static_cast<Implementation*>(self)->stream_);
        };
        timer_ = pw_loop_add_timer(pw_thread_loop_get_loop(connection_.thread), onTimer, this);
        PodMemory memory;
        std::vector<const spa_pod*> parameters;
        for (const Offer& offer : offers_) parameters.push_back(parameter(memory.builder, offer));
        const auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS);
        if (pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, parameters.data(),
                              static_cast<std::uint32_t>(parameters.size())) < 0) {
            throw std::runtime_error("the test's camera doesn't connect");
        }
    }
    ~Implementation() {
        const Connection::Lock lock(connection_);
        pw_loop_destroy_source(pw_thread_loop_get_loop(connection_.thread), timer_);
        spa_hook_remove(&listener_);
        pw_stream_destroy(stream_);
    }
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    [[nodiscard]] int pictureCount() const {
        const std::lock_guard lock(mutex_);
        return static_cast<int>(times_.size());
    }
    [[nodiscard]] std::int64_t timeOf(int number) const {
        const std::lock_guard lock(mutex_);
        return times_.at(static_cast<std::size_t>(number));
    }
    [[nodiscard]] std::optional<Offer> agreed() const {
        const std::lock_guard lock(mutex_);
        return agreed_;
    }

private:
    static const spa_pod* parameter(spa_pod_builder& builder, const Offer& offer) {
        spa_pod_frame frame;
        spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
        const bool isCompressed = offer.layout == Layout::mjpeg;
        spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
                            SPA_FORMAT_mediaSubtype,
                            SPA_POD_Id(isCompressed ? SPA_MEDIA_SUBTYPE_mjpg : SPA_MEDIA_SUBTYPE_raw), 0);
        if (!isCompressed) {
            spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_format, SPA_POD_Id(spaFormat(offer.layout)), 0);
        }
        const spa_rectangle size{static_cast<std::uint32_t>(offer.widthPixels),
                                 static_cast<std::uint32_t>(offer.heightPixels)};
        const spa_fraction rate{static_cast<std::uint32_t>(offer.framesPerSecond), 1};
        spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size),
                            SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&rate), 0);
        return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
    }

    void agree(const spa_pod* format) {
        spa_video_info info{};
        if (format == nullptr || spa_format_video_parse(format, &info) < 0) return;
        const bool isCompressed = info.media_subtype == SPA_MEDIA_SUBTYPE_mjpg;
        const spa_rectangle size = isCompressed ? info.info.mjpg.size : info.info.raw.size;
        Offer agreed;
        for (const Offer& offer : offers_) {
            const bool isLayout = isCompressed ? offer.layout == Layout::mjpeg
                                               : spaFormat(offer.layout) == info.info.raw.format;
            if (isLayout && offer.widthPixels == static_cast<int>(size.width) &&
                offer.heightPixels == static_cast<int>(size.height)) {
                agreed = offer;
            }
        }
        {
            const std::lock_guard lock(mutex_);
            agreed_ = agreed;
        }
        PodMemory memory;
        std::array<const spa_pod*, 2> parameters{};
        parameters[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &memory.builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(4, 2, 8), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1),
            SPA_PARAM_BUFFERS_size, SPA_POD_Int(static_cast<int>(byteCount(agreed))),
            SPA_PARAM_BUFFERS_stride, SPA_POD_Int(static_cast<int>(bytesPerRow(agreed)))));
        parameters[1] = static_cast<const spa_pod*>(
            spa_pod_builder_add_object(&memory.builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta,
                                       SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header), SPA_PARAM_META_size,
                                       SPA_POD_Int(static_cast<int>(sizeof(spa_meta_header)))));
        pw_stream_update_params(stream_, parameters.data(), parameters.size());
    }

    void run(bool isStreaming) {
        timespec interval{0, 0};
        const std::optional<Offer> offer = agreed();
        if (isStreaming && !isSilent_ && offer) {
            interval.tv_nsec = kNanosecondsPerSecond / offer->framesPerSecond;
        }
        pw_loop_update_timer(pw_thread_loop_get_loop(connection_.thread), timer_, &interval, &interval,
                             false);
    }

    void deliver() {
        if (isSilent_) return;
        pw_buffer* const buffer = pw_stream_dequeue_buffer(stream_);
        if (buffer == nullptr) return;
        spa_data& data = buffer->buffer->datas[0];
        const std::int64_t now = monotonicNow();
        const Offer offer = agreed().value_or(Offer());
        data.chunk->offset = 0;
        data.chunk->stride = static_cast<std::int32_t>(bytesPerRow(offer));
        data.chunk->size = static_cast<std::uint32_t>(
            paint(offer, pictureCount(), static_cast<std::uint8_t*>(data.data), data.maxsize));
        auto* const header = static_cast<spa_meta_header*>(
            spa_buffer_find_meta_data(buffer->buffer, SPA_META_Header, sizeof(spa_meta_header)));
        if (header != nullptr) {
            header->pts = now;
            header->flags = 0;
            header->seq = static_cast<std::uint64_t>(pictureCount());
            header->dts_offset = 0;
        }
        {
            const std::lock_guard lock(mutex_);
            times_.push_back(now);
        }
        pw_stream_queue_buffer(stream_, buffer);
    }

    const std::vector<Offer> offers_;
    const bool isSilent_;
    Connection connection_;
    pw_stream* stream_ = nullptr;
    spa_hook listener_{};
    spa_source* timer_ = nullptr;
    mutable std::mutex mutex_;
    std::optional<Offer> agreed_;      // guarded by mutex_
    std::vector<std::int64_t> times_;  // guarded by mutex_
};

VirtualCamera::VirtualCamera(const std::string& remoteName, const std::string& name,
                             const std::string& description, std::vector<Offer> offers, bool isSilent)
    : implementation_(
          std::make_unique<Implementation>(remoteName, name, description, std::move(offers), isSilent)) {}
VirtualCamera::~VirtualCamera() = default;

int VirtualCamera::pictureCount() const {
    return implementation_->pictureCount();
}
std::int64_t VirtualCamera::timeOf(int number) const {
    return implementation_->timeOf(number);
}
std::optional<VirtualCamera::Offer> VirtualCamera::agreed() const {
    return implementation_->agreed();
}

}  // namespace varnelle::test
