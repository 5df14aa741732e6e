#pragma once

#include <pipewire/pipewire.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/linux/PipeWireHub.h"

namespace varnelle {

/// One stream of the server's, from its connection to a device until that or the server goes. For the
/// loop's thread; it must be destroyed before the hub's connection.
class PipeWireStream {
public:
    class Client {
    public:
        virtual ~Client() = default;
        /// Sound or a picture can be taken from `stream`, or sound given to it; on the realtime thread if the
        /// flags say so.
        virtual void process(pw_stream* stream) = 0;
        /// `parameter` is the format that was agreed on, or null. Loop's thread, inside a callback.
        virtual void formatChanged(const spa_pod* parameter) { (void)parameter; }
        /// Nothing more comes, and the stream may be destroyed. Loop's thread.
        virtual void ended(const std::string& reason) = 0;
    };

    /// Takes over the properties. `direction` is input for what is captured. Throws `PlatformError` if the
    /// server refuses the stream; the hub must be connected.
    PipeWireStream(PipeWireHub& hub, Client& client, pw_properties* properties, int flags,
                   std::vector<const spa_pod*> formats, pw_direction direction = PW_DIRECTION_INPUT);
    /// The client is not called any more.
    ~PipeWireStream();
    PipeWireStream(const PipeWireStream&) = delete;
    PipeWireStream& operator=(const PipeWireStream&) = delete;

    [[nodiscard]] pw_stream* handle() const { return stream_; }

private:
    static const pw_stream_events& events();
    void reportEnd(std::string reason);

    PipeWireHub& hub_;
    Client& client_;
    pw_stream* stream_ = nullptr;
    spa_hook listener_{};
    std::shared_ptr<PipeWireStream*> self_;  ///< what posted work finds the stream by, if it still lives
};

}  // namespace varnelle
