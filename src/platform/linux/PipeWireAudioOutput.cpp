#include "platform/linux/PipeWireAudioOutput.h"

#include <spa/pod/builder.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <thread>
#include <utility>

#include "foundation/HostClock.h"
#include "foundation/Log.h"
#include "platform/PlatformError.h"
#include "platform/linux/PipeWireFormats.h"

namespace varnelle {
namespace {

/// How often it is looked whether the server takes the sound.
constexpr std::int64_t kLookInterval = 10'000'000;
/// For how long a server may ask for nothing before sound passes without it. A stream that is just being
/// connected needs some of that.
constexpr std::int64_t kSignPatienceNanoseconds = 300'000'000;
/// For how long a stream stays awake when nothing is played: a seek shouldn't put the device to sleep.
constexpr std::int64_t kRestDelay = SPA_NSEC_PER_SEC;

std::int64_t nanosecondsNow() {
    return hostTimeNow().value;
}

std::int64_t nanosecondsOf(std::int64_t frames) {
    return frames * SPA_NSEC_PER_SEC / AudioOutput::kRate;
}

}  // namespace

PipeWireAudioOutput::PipeWireAudioOutput(std::shared_ptr<PipeWireHub> hub) : hub_(std::move(hub)) {
    hub_->loop().post([this] {
        hub_->addListener(*this);
        const auto onTimer = [](void* self, std::uint64_t) {
            static_cast<PipeWireAudioOutput*>(self)->lookAfter();
        };
        timer_ = pw_loop_add_timer(hub_->loop().loop(), onTimer, this);
    });
}

PipeWireAudioOutput::~PipeWireAudioOutput() {
    hub_->loop().sync([this] {
        stream_ = nullptr;
        hub_->removeListener(*this);
        pw_loop_destroy_source(hub_->loop().loop(), timer_);
    });
}

std::size_t PipeWireAudioOutput::write(std::span<const float> samples) {
    const std::int64_t written = written_.load(std::memory_order_relaxed);
    const auto waiting = static_cast<std::size_t>(written - read_.load(std::memory_order_acquire));
    const std::size_t count = std::min(samples.size() / kChannels, kCapacity - waiting);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t place = (static_cast<std::size_t>(written) + i) % kCapacity;
        std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(i * kChannels), kChannels,
                    ring_.begin() + static_cast<std::ptrdiff_t>(place * kChannels));
    }
    written_.store(written + static_cast<std::int64_t>(count), std::memory_order_release);
    return count;
}

void PipeWireAudioOutput::start() {
    startedAt_ = nanosecondsNow();
    isStarted_ = true;
    hub_->loop().post([this] { wake(); });
}

void PipeWireAudioOutput::reset() {
    // Whoever takes sound does so for microseconds.
    while (isTaking_.test_and_set(std::memory_order_acquire)) std::this_thread::yield();
    isStarted_ = false;
    resetAt_ = nanosecondsNow();
    written_ = 0;
    read_ = 0;
    publish({});
    lastHeard_ = 0;
    isTaking_.clear(std::memory_order_release);
}

double PipeWireAudioOutput::framesHeard() const {
    const Stretch now = stretch();
    const double passed =
        static_cast<double>(nanosecondsNow() - now.hostNanoseconds) * kRate / SPA_NSEC_PER_SEC;
    const double frame = static_cast<double>(now.frame) + std::max(passed, 0.0);
    const double heard = std::min(frame, static_cast<double>(now.end));
    // The server's idea of the delay may grow, but time doesn't run back.
    double last = lastHeard_.load();
    while (heard > last && !lastHeard_.compare_exchange_weak(last, heard)) {
    }
    return std::max(heard, last);
}

void PipeWireAudioOutput::process(pw_stream* stream) {
    pw_buffer* const buffer = pw_stream_dequeue_buffer(stream);
    if (buffer == nullptr) return;
    const std::int64_t now = nanosecondsNow();
    processedAt_ = now;
    pw_time time{};
    pw_stream_get_time_n(stream, &time, sizeof time);
    std::int64_t heardAt = time.now != 0 ? time.now : now;
    if (time.rate.denom != 0) {
        heardAt += time.delay * SPA_NSEC_PER_SEC * time.rate.num / time.rate.denom;
    }
    heardAt += nanosecondsOf(static_cast<std::int64_t>(time.buffered));

    spa_data& data = buffer->buffer->datas[0];
    constexpr std::size_t frameBytes = kChannels * sizeof(float);
    std::size_t frames = data.maxsize / frameBytes;
    if (buffer->requested > 0) frames = std::min(frames, static_cast<std::size_t>(buffer->requested));
    // What is handed out now is played in the next cycle.
    heardAt += nanosecondsOf(static_cast<std::int64_t>(frames));
    auto* const samples = static_cast<float*>(data.data);
    std::size_t taken = 0;
    if (!isTaking_.test_and_set(std::memory_order_acquire)) {
        if (isStarted_) taken = take(samples, frames, heardAt);
        isTaking_.clear(std::memory_order_release);
    }
    std::fill(samples + taken * kChannels, samples + frames * kChannels, 0.0F);
    data.chunk->offset = 0;
    data.chunk->stride = static_cast<std::int32_t>(frameBytes);
    data.chunk->size = static_cast<std::uint32_t>(frames * frameBytes);
    pw_stream_queue_buffer(stream, buffer);
}

/// Hands out what is written, at most so many frames, to be heard from a moment on. Without a target they
/// pass unheard.
std::size_t PipeWireAudioOutput::take(float* target, std::size_t frames, std::int64_t hostNanoseconds) {
    const std::int64_t read = read_.load(std::memory_order_relaxed);
    const auto waiting = static_cast<std::size_t>(written_.load(std::memory_order_acquire) - read);
    const std::size_t count = std::min(frames, waiting);
    for (std::size_t i = 0; target != nullptr && i < count; ++i) {
        const std::size_t place = (static_cast<std::size_t>(read) + i) % kCapacity;
        std::copy_n(ring_.begin() + static_cast<std::ptrdiff_t>(place * kChannels), kChannels,
                    target + i * kChannels);
    }
    const std::int64_t end = read + static_cast<std::int64_t>(count);
    read_.store(end, std::memory_order_release);
    if (count > 0) publish({read, end, hostNanoseconds});
    return count;
}

void PipeWireAudioOutput::publish(const Stretch& stretch) {
    const std::uint32_t sequence = stretchSequence_.load();
    stretchSequence_ = sequence + 1;
    stretchFrame_ = stretch.frame;
    stretchEnd_ = stretch.end;
    stretchTime_ = stretch.hostNanoseconds;
    stretchSequence_ = sequence + 2;
}

PipeWireAudioOutput::Stretch PipeWireAudioOutput::stretch() const {
    while (true) {
        const std::uint32_t sequence = stretchSequence_.load();
        const Stretch result{stretchFrame_, stretchEnd_, stretchTime_};
        if (sequence % 2 == 0 && stretchSequence_.load() == sequence) return result;
    }
}

void PipeWireAudioOutput::serverChanged() {
    if (isWanted_ && stream_ == nullptr && hub_->core() != nullptr) connect();
}

void PipeWireAudioOutput::connectionLost() {
    stream_ = nullptr;
}

void PipeWireAudioOutput::ended(const std::string& reason) {
    stream_ = nullptr;
    noteOutage(reason);
    hub_->requestRetry();
}

/// Sound has begun.
void PipeWireAudioOutput::wake() {
    isWanted_ = true;
    passedAt_ = nanosecondsNow();
    if (stream_ != nullptr) {
        pw_stream_set_active(stream_->handle(), true);
    } else {
        serverChanged();
    }
    setTimer(true);
}

void PipeWireAudioOutput::connect() {
    pw_properties* const properties =
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Playback", PW_KEY_MEDIA_ROLE,
                          "Movie", PW_KEY_APP_NAME, "Varnelle", PW_KEY_NODE_NAME, "varnelle.player",
                          PW_KEY_NODE_DESCRIPTION, "Varnelle", PW_KEY_NODE_LATENCY, "1024/48000", nullptr);
    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    const spa_pod* const format = soundFormatParameter(builder, kChannels);
    PipeWireStream::Client& client = *this;
    try {
        stream_ = std::make_unique<PipeWireStream>(
            *hub_, client, properties,
            PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS,
            std::vector{format}, PW_DIRECTION_OUTPUT);
    } catch (const PlatformError& error) {
        ended(error.what());
    }
}

/// Every few milliseconds while something plays, and for a while after that.
void PipeWireAudioOutput::lookAfter() {
    const std::int64_t now = nanosecondsNow();
    if (!isStarted_) {
        if (now - resetAt_ < kRestDelay) return;
        if (stream_ != nullptr) pw_stream_set_active(stream_->handle(), false);
        return setTimer(false);
    }
    const bool hasServer = hub_->core() != nullptr && stream_ != nullptr;
    const std::int64_t lastSign = std::max(processedAt_.load(), isOut_ ? 0 : startedAt_.load());
    if (hasServer && now - lastSign < kSignPatienceNanoseconds) {
        passedAt_ = now;
        if (isOut_ && processedAt_ > startedAt_) {
            isOut_ = false;
            logger(LogCategory::app).info("The sound output is back.");
        }
        return;
    }
    noteOutage(hasServer ? "it takes no sound" : "the sound server isn't running");
    passSilently(now);
}

void PipeWireAudioOutput::passSilently(std::int64_t now) {
    const std::int64_t frames = (now - passedAt_) * kRate / SPA_NSEC_PER_SEC;
    if (isTaking_.test_and_set(std::memory_order_acquire)) return;
    if (isStarted_) take(nullptr, static_cast<std::size_t>(std::max<std::int64_t>(frames, 0)), now);
    isTaking_.clear(std::memory_order_release);
    passedAt_ += nanosecondsOf(frames);
}

void PipeWireAudioOutput::noteOutage(const std::string& reason) {
    if (std::exchange(isOut_, true)) return;
    logger(LogCategory::app).warn("There is no sound output: {}. Playing goes on without sound.", reason);
}

void PipeWireAudioOutput::setTimer(bool isOn) {
    if (std::exchange(isTimerOn_, isOn) == isOn) return;
    timespec first{0, isOn ? kLookInterval : 0};
    timespec interval = first;
    pw_loop_update_timer(hub_->loop().loop(), timer_, &first, &interval, false);
}

}  // namespace varnelle
