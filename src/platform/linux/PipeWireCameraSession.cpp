#include "platform/linux/PipeWireCameraSession.h"

#include <linux/dma-buf.h>
#include <spa/buffer/meta.h>
#include <spa/param/buffers.h>
#include <spa/param/param.h>
#include <spa/pod/builder.h>
#include <sys/ioctl.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include <fmt/format.h>

#include "foundation/HostClock.h"
#include "foundation/Log.h"
#include "media/CameraPicture.h"
#include "platform/PlatformError.h"
#include "platform/linux/PipeWireFormats.h"

namespace varnelle {
namespace {

/// A picture's own time is believed if it lies this close to now; not all drivers use the host clock.
constexpr std::int64_t kOldestBelievableNanoseconds = 2'000'000'000;
constexpr std::int64_t kNewestBelievableNanoseconds = 100'000'000;

std::int64_t hostTimeOf(const pw_buffer& buffer) {
    const std::int64_t now = hostTimeNow().value;
    const auto* const header = static_cast<const spa_meta_header*>(
        spa_buffer_find_meta_data(buffer.buffer, SPA_META_Header, sizeof(spa_meta_header)));
    if (header == nullptr) return now;
    const std::int64_t age = now - header->pts;
    const bool isBelievable = age <= kOldestBelievableNanoseconds && age >= -kNewestBelievableNanoseconds;
    return isBelievable ? header->pts : now;
}

bool isMarkedCorrupted(const pw_buffer& buffer) {
    const auto* const header = static_cast<const spa_meta_header*>(
        spa_buffer_find_meta_data(buffer.buffer, SPA_META_Header, sizeof(spa_meta_header)));
    return header != nullptr && (header->flags & SPA_META_HEADER_FLAG_CORRUPTED) != 0;
}

/// A picture's memory while it is read. It is mapped here rather than by the library, since a camera's own
/// memory has to be told before it is read.
class MappedPicture {
public:
    explicit MappedPicture(const spa_data& data) {
        const std::size_t begin = data.mapoffset / kPageBytes * kPageBytes;
        const std::size_t lead = data.mapoffset - begin;
        std::span<const std::uint8_t> memory;
        if (data.type == SPA_DATA_MemFd || data.type == SPA_DATA_DmaBuf) {
            mappedBytes_ = lead + data.maxsize;
            void* const mapped = mmap(nullptr, mappedBytes_, PROT_READ, MAP_SHARED, static_cast<int>(data.fd),
                                      static_cast<off_t>(begin));
            if (mapped == MAP_FAILED) return;
            mapped_ = mapped;
            if (data.type == SPA_DATA_DmaBuf) deviceMemory_ = static_cast<int>(data.fd);
            sync(DMA_BUF_SYNC_START);
            memory = {static_cast<const std::uint8_t*>(mapped) + lead, data.maxsize};
        } else if (data.type == SPA_DATA_MemPtr && data.data != nullptr) {
            memory = {static_cast<const std::uint8_t*>(data.data), data.maxsize};
        }
        if (memory.empty() || data.chunk == nullptr) return;
        const std::size_t offset = std::min<std::size_t>(data.chunk->offset, memory.size());
        bytes_ = memory.subspan(offset, std::min<std::size_t>(data.chunk->size, memory.size() - offset));
    }
    ~MappedPicture() {
        if (mapped_ == nullptr) return;
        sync(DMA_BUF_SYNC_END);
        munmap(mapped_, mappedBytes_);
    }
    MappedPicture(const MappedPicture&) = delete;
    MappedPicture& operator=(const MappedPicture&) = delete;

    /// Empty for memory that can't be read.
    [[nodiscard]] std::span<const std::uint8_t> bytes() const { return bytes_; }

private:
    static constexpr std::size_t kPageBytes = 4096;

    /// Waits for the camera's hardware, which is done with a picture when it is handed out; not all drivers
    /// take part, so a refusal means nothing.
    void sync(std::uint64_t phase) const {
        dma_buf_sync request{phase | DMA_BUF_SYNC_READ};
        if (deviceMemory_ >= 0) ioctl(deviceMemory_, DMA_BUF_IOCTL_SYNC, &request);
    }

    void* mapped_ = nullptr;
    std::size_t mappedBytes_ = 0;
    int deviceMemory_ = -1;
    std::span<const std::uint8_t> bytes_;
};

}  // namespace

/// One picture at a time on its way to the queue: a newer one takes the place of one that still waits.
class PipeWireCameraSession::Mailbox : public std::enable_shared_from_this<Mailbox> {
public:
    struct Picture {
        CameraPicture description;  ///< without its bytes
        std::vector<std::uint8_t> bytes;
        std::int64_t hostNanoseconds = 0;
    };

    explicit Mailbox(CameraOutput output) : output_(std::move(output)) {}

    /// Memory for a picture's bytes, used before if there is any. Loop's thread.
    std::vector<std::uint8_t> newBytes() {
        const std::lock_guard lock(mutex_);
        return std::exchange(spare_, {});
    }

    void put(Picture picture) {
        bool isFirst = false;
        {
            const std::lock_guard lock(mutex_);
            isFirst = !waiting_.has_value();
            if (!isFirst) spare_ = std::move(waiting_->bytes);
            waiting_ = std::move(picture);
        }
        output_.queue->async([self = shared_from_this(), isFirst] {
            if (isFirst) {
                self->deliver();
            } else {
                self->output_.onDrop();
            }
        });
    }

    /// A picture that can't be taken counts as dropped too.
    void drop() {
        output_.queue->async([self = shared_from_this()] { self->output_.onDrop(); });
    }

    /// Forgets what waits, so that nothing old comes after a stop.
    void clear() {
        const std::lock_guard lock(mutex_);
        waiting_ = std::nullopt;
    }

private:
    void deliver() {
        std::optional<Picture> picture;
        {
            const std::lock_guard lock(mutex_);
            picture = std::exchange(waiting_, std::nullopt);
        }
        if (!picture) return;
        picture->description.bytes = picture->bytes;
        SampleBuffer sample;
        const VideoFrame frame = reader_.read(picture->description);
        {
            const std::lock_guard lock(mutex_);
            spare_ = std::move(picture->bytes);
        }
        if (frame.isEmpty()) return output_.onDrop();
        sample.data = frame;
        sample.presentationTime = hostTimeFromNanoseconds(picture->hostNanoseconds);
        output_.onFrame(sample);
    }

    const CameraOutput output_;
    std::mutex mutex_;
    std::optional<Picture> waiting_;   // guarded by mutex_
    std::vector<std::uint8_t> spare_;  // guarded by mutex_
    CameraPictureReader reader_;       // queue only
};

PipeWireCameraSession::PipeWireCameraSession(std::shared_ptr<PipeWireHub> hub, std::string cameraID,
                                             CameraOutput output)
    : hub_(std::move(hub)),
      cameraID_(std::move(cameraID)),
      mailbox_(std::make_shared<Mailbox>(std::move(output))) {
    const auto nodes = hub_->nodes();
    const auto node = std::find_if(nodes.begin(), nodes.end(), [this](const PipeWireNode& candidate) {
        return candidate.name == cameraID_ && candidate.isCamera();
    });
    if (node == nodes.end()) {
        throw PlatformError(PlatformError::Code::requestFailed,
                            fmt::format("The camera “{}” isn't connected.", cameraID_));
    }
    cameraName_ = node->description;
    wantedFormat_ = bestCameraFormat(node->cameraFormats);
    if (wantedFormat_)
        dimensions_ = CameraDimensions{wantedFormat_->widthPixels, wantedFormat_->heightPixels};
}

PipeWireCameraSession::~PipeWireCameraSession() {
    hub_->loop().sync([this] { disconnect(); });
}

void PipeWireCameraSession::startRunning() {
    isRunning_ = true;
    hub_->loop().post([this] {
        if (std::exchange(isStarted_, true)) return;
        hub_->addListener(*this);
        serverChanged();
    });
}

void PipeWireCameraSession::stopRunning() {
    isRunning_ = false;
    hub_->loop().post([this] { disconnect(); });
}

std::optional<CameraDimensions> PipeWireCameraSession::activeFormatDimensions() const {
    const std::lock_guard lock(mutex_);
    return dimensions_;
}

void PipeWireCameraSession::disconnect() {
    if (!std::exchange(isStarted_, false)) return;
    stream_ = nullptr;
    hub_->removeListener(*this);
    mailbox_->clear();
}

void PipeWireCameraSession::serverChanged() {
    if (stream_ != nullptr || !hub_->hasAnswered()) return;
    if (hub_->core() == nullptr) return noteOutage("the media server isn't running");
    if (hub_->nodeNamed(cameraID_) == nullptr) return noteOutage("it isn't connected");
    connect();
}

void PipeWireCameraSession::connectionLost() {
    stream_ = nullptr;
    noteOutage("the media server has ended");
}

void PipeWireCameraSession::ended(const std::string& reason) {
    stream_ = nullptr;
    noteOutage(reason);
    hub_->requestRetry();
}

void PipeWireCameraSession::connect() {
    pw_properties* const properties = pw_properties_new(
        PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE, "Camera",
        PW_KEY_APP_NAME, "Varnelle", PW_KEY_NODE_NAME, "varnelle.camera", PW_KEY_NODE_DESCRIPTION, "Varnelle",
        PW_KEY_TARGET_OBJECT, cameraID_.c_str(), PW_KEY_NODE_DONT_RECONNECT, "true", nullptr);
    std::array<std::uint8_t, 4096> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    // In the order of preference: what was chosen, then whatever else the camera may be able to do now.
    std::vector<const spa_pod*> formats;
    if (wantedFormat_) formats.push_back(cameraFormatParameter(builder, *wantedFormat_));
    formats.push_back(anyRawFormatParameter(builder));
    formats.push_back(anyCompressedFormatParameter(builder));
    PipeWireStream::Client& client = *this;
    try {
        stream_ = std::make_unique<PipeWireStream>(*hub_, client, properties, PW_STREAM_FLAG_AUTOCONNECT,
                                                   std::move(formats));
    } catch (const PlatformError& error) {
        ended(error.what());
    }
}

void PipeWireCameraSession::formatChanged(const spa_pod* parameter) {
    if (parameter == nullptr || stream_ == nullptr) return;
    CameraFormat format;
    if (!readNegotiatedFormat(*parameter, format, color_)) {
        pw_stream_set_error(stream_->handle(), -EINVAL, "the camera's pictures can't be read");
        return;
    }
    format_ = format;
    {
        const std::lock_guard lock(mutex_);
        dimensions_ = CameraDimensions{format.widthPixels, format.heightPixels};
    }
    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    std::array<const spa_pod*, 2> parameters{};
    constexpr int kMemoryTypes = (1 << SPA_DATA_MemFd) | (1 << SPA_DATA_DmaBuf) | (1 << SPA_DATA_MemPtr);
    parameters[0] = static_cast<const spa_pod*>(
        spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers,
                                   SPA_PARAM_BUFFERS_buffers, SPA_POD_CHOICE_RANGE_Int(4, 2, 16),
                                   SPA_PARAM_BUFFERS_dataType, SPA_POD_CHOICE_FLAGS_Int(kMemoryTypes)));
    parameters[1] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header),
        SPA_PARAM_META_size, SPA_POD_Int(static_cast<int>(sizeof(spa_meta_header)))));
    pw_stream_update_params(stream_->handle(), parameters.data(), parameters.size());
}

void PipeWireCameraSession::process(pw_stream* stream) {
    // Of several that wait only the newest is of use.
    pw_buffer* newest = nullptr;
    while (pw_buffer* const buffer = pw_stream_dequeue_buffer(stream)) {
        if (newest != nullptr) {
            mailbox_->drop();
            pw_stream_queue_buffer(stream, newest);
        }
        newest = buffer;
    }
    if (newest == nullptr) return;
    take(*newest);
    pw_stream_queue_buffer(stream, newest);
}

void PipeWireCameraSession::take(const pw_buffer& buffer) {
    const spa_data& data = buffer.buffer->datas[0];
    const MappedPicture mapped(data);
    const bool hasPicture = !mapped.bytes().empty() && format_ &&
                            (data.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED) == 0 && !isMarkedCorrupted(buffer);
    if (!hasPicture) return mailbox_->drop();
    Mailbox::Picture picture;
    picture.description.format = format_->pictureFormat;
    picture.description.widthPixels = format_->widthPixels;
    picture.description.heightPixels = format_->heightPixels;
    picture.description.bytesPerRow = std::max(0, data.chunk->stride);
    picture.description.color = color_;
    picture.bytes = mailbox_->newBytes();
    picture.bytes.assign(mapped.bytes().begin(), mapped.bytes().end());
    picture.hostNanoseconds = hostTimeOf(buffer);
    mailbox_->put(std::move(picture));
    if (std::exchange(isOut_, false)) {
        logger(LogCategory::capture).info("The camera “{}” is back.", cameraName_);
    }
}

void PipeWireCameraSession::noteOutage(const std::string& reason) {
    if (std::exchange(isOut_, true)) return;
    logger(LogCategory::capture)
        .warn("The camera “{}” is missing: {}. The recording goes on without it.", cameraName_, reason);
}

}  // namespace varnelle
