#include "platform/linux/PipeWireSoundStream.h"

#include <spa/param/audio/raw.h>
#include <spa/pod/builder.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <utility>

#include "foundation/HostClock.h"
#include "foundation/Log.h"
#include "platform/PlatformError.h"
#include "platform/linux/PipeWireFormats.h"

namespace varnelle {
namespace {

std::int64_t nanoseconds(std::int64_t ticks, const spa_fraction& rate) {
    if (rate.denom == 0) return 0;
    // Ticks here are delays: far too few to overflow.
    return ticks * SPA_NSEC_PER_SEC * rate.num / rate.denom;
}

}  // namespace

/// Sound on its way from the realtime thread, which must neither wait nor allocate, to the loop's thread.
class PipeWireSoundStream::Blocks {
public:
    static constexpr std::size_t kCapacity = 64;
    /// Longer blocks are taken in parts.
    static constexpr std::size_t kMaximumSamples = 4096;

    struct Block {
        std::int64_t hostNanoseconds = 0;
        std::size_t sampleCount = 0;
        std::array<float, kMaximumSamples> samples{};
    };

    /// Realtime thread. Without room the block is lost, which the next one's time shows.
    void put(const float* samples, std::size_t count, std::int64_t hostNanoseconds) {
        const std::size_t written = written_.load(std::memory_order_relaxed);
        if (written - read_.load(std::memory_order_acquire) == kCapacity) return;
        Block& block = blocks_[written % kCapacity];
        block.hostNanoseconds = hostNanoseconds;
        block.sampleCount = count;
        std::memcpy(block.samples.data(), samples, count * sizeof(float));
        written_.store(written + 1, std::memory_order_release);
    }

    /// Loop's thread. Null when there is none; the block is given back by `pop`.
    [[nodiscard]] const Block* front() const {
        const std::size_t read = read_.load(std::memory_order_relaxed);
        return read == written_.load(std::memory_order_acquire) ? nullptr : &blocks_[read % kCapacity];
    }
    void pop() { read_.fetch_add(1, std::memory_order_release); }

private:
    std::array<Block, kCapacity> blocks_{};
    std::atomic<std::size_t> written_ = 0;
    std::atomic<std::size_t> read_ = 0;
};

PipeWireSoundStream::PipeWireSoundStream(std::shared_ptr<PipeWireHub> hub, Source source,
                                         std::optional<std::string> deviceID, SerialQueue& queue,
                                         SampleHandler handler)
    : hub_(std::move(hub)),
      source_(source),
      deviceID_(std::move(deviceID)),
      channelCount_(source == Source::systemSound ? 2U : 1U),
      queue_(queue),
      handler_(std::make_shared<const SampleHandler>(std::move(handler))),
      blocks_(std::make_unique<Blocks>()),
      corrector_(static_cast<int>(channelCount_)) {}

PipeWireSoundStream::~PipeWireSoundStream() {
    hub_->loop().sync([this] { disconnect(); });
}

void PipeWireSoundStream::start() {
    hub_->loop().post([this] {
        if (isStarted_) return;
        isStarted_ = true;
        hub_->addListener(*this);
        const auto onWakeUp = [](void* self, std::uint64_t) {
            static_cast<PipeWireSoundStream*>(self)->deliverBlocks();
        };
        wakeUp_ = pw_loop_add_event(hub_->loop().loop(), onWakeUp, this);
        serverChanged();
    });
}

void PipeWireSoundStream::stop(std::function<void()> onStopped) {
    hub_->loop().post([this, onStopped = std::move(onStopped)] {
        disconnect();
        onStopped();
    });
}

void PipeWireSoundStream::disconnect() {
    if (!isStarted_) return;
    isStarted_ = false;
    stream_ = nullptr;
    hub_->removeListener(*this);
    pw_loop_destroy_source(hub_->loop().loop(), wakeUp_);
    wakeUp_ = nullptr;
}

void PipeWireSoundStream::serverChanged() {
    if (!hub_->hasAnswered()) return;
    if (hub_->core() == nullptr) return noteOutage("the sound server isn't running");
    if (source_ == Source::microphone && !hub_->hasMicrophone()) {
        // The session manager would take the sound of the output instead, which nobody has asked for.
        stream_ = nullptr;
        return noteOutage("none is connected");
    }
    if (stream_ != nullptr) return;
    if (deviceID_ && hub_->nodeNamed(*deviceID_) == nullptr) return noteOutage("the device isn't connected");
    connect();
}

void PipeWireSoundStream::connectionLost() {
    stream_ = nullptr;
    noteOutage("the sound server has ended");
}

void PipeWireSoundStream::ended(const std::string& reason) {
    stream_ = nullptr;
    noteOutage(reason);
    hub_->requestRetry();
}

void PipeWireSoundStream::connect() {
    const bool isSystemSound = source_ == Source::systemSound;
    pw_properties* const properties = pw_properties_new(
        PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE, "Production",
        PW_KEY_APP_NAME, "Varnelle", PW_KEY_NODE_NAME,
        isSystemSound ? "varnelle.system-sound" : "varnelle.microphone", PW_KEY_NODE_DESCRIPTION, "Varnelle",
        PW_KEY_NODE_LATENCY, "1024/48000", "channelmix.normalize", "true", nullptr);
    if (isSystemSound) pw_properties_set(properties, PW_KEY_STREAM_CAPTURE_SINK, "true");
    if (deviceID_) {
        pw_properties_set(properties, PW_KEY_TARGET_OBJECT, deviceID_->c_str());
        // When the chosen microphone goes, no other one may listen in its place.
        pw_properties_set(properties, PW_KEY_NODE_DONT_RECONNECT, "true");
    }
    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    const spa_pod* const format = soundFormatParameter(builder, static_cast<int>(channelCount_));
    PipeWireStream::Client& client = *this;
    try {
        stream_ = std::make_unique<PipeWireStream>(
            *hub_, client, properties,
            PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS,
            std::vector{format});
    } catch (const PlatformError& error) {
        ended(error.what());
    }
}

void PipeWireSoundStream::process(pw_stream* stream) {
    pw_time time{};
    pw_stream_get_time_n(stream, &time, sizeof time);
    const std::int64_t now = time.now != 0 ? time.now : hostTimeNow().value;
    std::int64_t begin = now - nanoseconds(time.delay, time.rate);
    bool hasSound = false;
    while (pw_buffer* const buffer = pw_stream_dequeue_buffer(stream)) {
        const spa_data& data = buffer->buffer->datas[0];
        if (data.data != nullptr && data.chunk != nullptr && data.chunk->size > 0) {
            begin += take(data, begin);
            hasSound = true;
        }
        pw_stream_queue_buffer(stream, buffer);
    }
    if (hasSound) pw_loop_signal_event(hub_->loop().loop(), wakeUp_);
}

/// Returns how long the sound lasts, in nanoseconds.
std::int64_t PipeWireSoundStream::take(const spa_data& data, std::int64_t begin) {
    const std::size_t offset = std::min<std::size_t>(data.chunk->offset, data.maxsize);
    const std::size_t size = std::min<std::size_t>(data.chunk->size, data.maxsize - offset);
    const auto* const samples =
        reinterpret_cast<const float*>(static_cast<const std::uint8_t*>(data.data) + offset);
    const std::size_t count = size / sizeof(float) / channelCount_ * channelCount_;
    const auto durationOf = [this](std::size_t sampleCount) {
        return static_cast<std::int64_t>(sampleCount / channelCount_) * SPA_NSEC_PER_SEC /
               DriftCorrector::kRate;
    };
    for (std::size_t taken = 0; taken < count; taken += Blocks::kMaximumSamples) {
        const std::size_t part = std::min(Blocks::kMaximumSamples, count - taken);
        blocks_->put(samples + taken, part, begin + durationOf(taken));
    }
    return durationOf(count);
}

void PipeWireSoundStream::deliverBlocks() {
    while (const Blocks::Block* const block = blocks_->front()) {
        for (SampleBuffer& sample :
             corrector_.process({block->samples.data(), block->sampleCount}, block->hostNanoseconds)) {
            queue_.async([handler = handler_, sample = std::move(sample)] { (*handler)(sample); });
        }
        blocks_->pop();
        // Not if it is the rest of what came before the outage.
        const bool isBack = stream_ != nullptr && std::exchange(isOut_, false);
        if (isBack) logger(LogCategory::capture).info("{} is back.", what());
    }
}

void PipeWireSoundStream::noteOutage(const std::string& reason) {
    if (std::exchange(isOut_, true)) return;
    logger(LogCategory::capture).warn("{} is missing: {}. The recording goes on without it.", what(), reason);
}

std::string PipeWireSoundStream::what() const {
    if (source_ == Source::systemSound) return "System sound";
    return deviceID_ ? "The microphone “" + *deviceID_ + "”" : "The microphone";
}

}  // namespace varnelle
