#pragma once

#include <pipewire/pipewire.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "media/AudioOutput.h"
#include "platform/linux/PipeWireHub.h"
#include "platform/linux/PipeWireStream.h"

namespace varnelle {

/// Plays to the output that the desktop prefers. Without one, or when the server goes or stops answering,
/// sound passes by the monotonic clock until there is one again, which is logged once.
///
/// The stream is made when something is played for the first time, and rests while nothing is.
class PipeWireAudioOutput final : public AudioOutput,
                                  private PipeWireHub::Listener,
                                  private PipeWireStream::Client {
public:
    explicit PipeWireAudioOutput(std::shared_ptr<PipeWireHub> hub);
    ~PipeWireAudioOutput() override;
    PipeWireAudioOutput(const PipeWireAudioOutput&) = delete;
    PipeWireAudioOutput& operator=(const PipeWireAudioOutput&) = delete;

    [[nodiscard]] std::size_t write(std::span<const float> samples) override;
    void start() override;
    void reset() override;
    [[nodiscard]] double framesHeard() const override;

private:
    /// 0.17 s: some cycles of the server's.
    static constexpr std::size_t kCapacity = 8192;

    /// When frames are heard: from `frame` at `hostNanoseconds` up to `end`.
    struct Stretch {
        std::int64_t frame = 0;
        std::int64_t end = 0;
        std::int64_t hostNanoseconds = 0;
    };

    // Realtime thread.
    void process(pw_stream* stream) override;

    // Whoever has `isTaking_`: the realtime or the loop's thread.
    std::size_t take(float* target, std::size_t frames, std::int64_t hostNanoseconds);
    void publish(const Stretch& stretch);

    // Loop's thread.
    void serverChanged() override;
    void connectionLost() override;
    void ended(const std::string& reason) override;
    void wake();
    void connect();
    void lookAfter();
    void passSilently(std::int64_t now);
    void noteOutage(const std::string& reason);
    void setTimer(bool isOn);

    [[nodiscard]] Stretch stretch() const;

    const std::shared_ptr<PipeWireHub> hub_;

    // The ring: written by the caller, read by whoever has `isTaking_`. Frames since `reset`.
    std::array<float, kCapacity * kChannels> ring_{};
    std::atomic<std::int64_t> written_ = 0;
    std::atomic<std::int64_t> read_ = 0;
    std::atomic_flag isTaking_;
    std::atomic<bool> isStarted_ = false;        ///< changed by the caller with `isTaking_`
    std::atomic<std::int64_t> startedAt_ = 0;    ///< nanoseconds; of the last start
    std::atomic<std::int64_t> resetAt_ = 0;      ///< nanoseconds
    std::atomic<std::int64_t> processedAt_ = 0;  ///< nanoseconds; when the server asked for sound last

    // The newest stretch, as a sequence lock: odd while it is being written.
    std::atomic<std::uint32_t> stretchSequence_ = 0;
    std::atomic<std::int64_t> stretchFrame_ = 0;
    std::atomic<std::int64_t> stretchEnd_ = 0;
    std::atomic<std::int64_t> stretchTime_ = 0;
    mutable std::atomic<double> lastHeard_ = 0;

    // Loop's thread only.
    spa_source* timer_ = nullptr;
    bool isTimerOn_ = false;
    bool isWanted_ = false;  ///< something has been played
    bool isOut_ = false;     ///< an outage has been logged and hasn't ended
    std::int64_t passedAt_ = 0;
    std::unique_ptr<PipeWireStream> stream_;  // last: its thread uses the rest
};

}  // namespace varnelle
