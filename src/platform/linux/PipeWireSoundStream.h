#pragma once

#include <pipewire/pipewire.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "foundation/Queue.h"
#include "media/DriftCorrector.h"
#include "media/SampleBuffer.h"
#include "platform/linux/PipeWireHub.h"
#include "platform/linux/PipeWireStream.h"

namespace varnelle {

/// Captures what the default output plays, or a microphone, as 32-bit float sound at 48,000 Hz on the host
/// clock, whatever the device delivers. While the device or the whole server is away nothing is delivered,
/// which is logged once; it goes on when they are back.
///
/// Made, started, stopped and destroyed on one thread.
class PipeWireSoundStream final : private PipeWireHub::Listener, private PipeWireStream::Client {
public:
    enum class Source { systemSound, microphone };
    using SampleHandler = std::function<void(const SampleBuffer&)>;

    /// System sound has two channels, a microphone one. `deviceID` names the microphone; without it, it is
    /// the one that the desktop prefers. The queue must outlive the stream.
    PipeWireSoundStream(std::shared_ptr<PipeWireHub> hub, Source source, std::optional<std::string> deviceID,
                        SerialQueue& queue, SampleHandler handler);
    /// Stops. No handler is queued afterwards.
    ~PipeWireSoundStream() override;
    PipeWireSoundStream(const PipeWireSoundStream&) = delete;
    PipeWireSoundStream& operator=(const PipeWireSoundStream&) = delete;

    /// Returns at once.
    void start();
    /// Returns at once; `onStopped` is called on the loop's thread when no further handler is queued.
    void stop(std::function<void()> onStopped);

private:
    class Blocks;

    // Realtime thread.
    void process(pw_stream* stream) override;
    std::int64_t take(const spa_data& data, std::int64_t begin);

    // Loop's thread.
    void serverChanged() override;
    void connectionLost() override;
    void ended(const std::string& reason) override;
    void connect();
    void disconnect();
    void deliverBlocks();
    void noteOutage(const std::string& reason);
    [[nodiscard]] std::string what() const;

    const std::shared_ptr<PipeWireHub> hub_;
    const Source source_;
    const std::optional<std::string> deviceID_;
    const std::size_t channelCount_;
    SerialQueue& queue_;
    const std::shared_ptr<const SampleHandler> handler_;
    const std::unique_ptr<Blocks> blocks_;  ///< from the realtime to the loop's thread

    // Loop's thread only.
    bool isStarted_ = false;
    bool isOut_ = false;  ///< an outage has been logged and hasn't ended
    DriftCorrector corrector_;
    spa_source* wakeUp_ = nullptr;  ///< also signalled by the realtime thread while there is a stream
    std::unique_ptr<PipeWireStream> stream_;
};

}  // namespace varnelle
