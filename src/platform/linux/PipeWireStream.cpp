#include "platform/linux/PipeWireStream.h"

#include <spa/param/param.h>

#include <utility>

#include "platform/PlatformError.h"

namespace varnelle {

PipeWireStream::PipeWireStream(PipeWireHub& hub, Client& client, pw_properties* properties, int flags,
                               std::vector<const spa_pod*> formats, pw_direction direction)
    : hub_(hub), client_(client), self_(std::make_shared<PipeWireStream*>(this)) {
    const auto refuse = [] {
        throw PlatformError(PlatformError::Code::requestFailed, "the media server refuses a stream");
    };
    stream_ = pw_stream_new(hub.core(), "Varnelle", properties);
    if (stream_ == nullptr) refuse();
    pw_stream_add_listener(stream_, &listener_, &events(), this);
    const int result = pw_stream_connect(stream_, direction, PW_ID_ANY, static_cast<pw_stream_flags>(flags),
                                         formats.data(), static_cast<std::uint32_t>(formats.size()));
    if (result >= 0) return;
    spa_hook_remove(&listener_);
    pw_stream_destroy(stream_);
    refuse();
}

PipeWireStream::~PipeWireStream() {
    if (stream_ == nullptr) return;
    spa_hook_remove(&listener_);
    pw_stream_destroy(stream_);
}

const pw_stream_events& PipeWireStream::events() {
    static const pw_stream_events kEvents = [] {
        pw_stream_events events{};
        events.version = PW_VERSION_STREAM_EVENTS;
        events.destroy = [](void* self) {
            auto& stream = *static_cast<PipeWireStream*>(self);
            spa_hook_remove(&stream.listener_);
            stream.stream_ = nullptr;
        };
        events.state_changed = [](void* self, pw_stream_state old, pw_stream_state state, const char* error) {
            const bool hasEnded =
                state == PW_STREAM_STATE_ERROR || (state == PW_STREAM_STATE_UNCONNECTED && old != state);
            if (!hasEnded) return;
            static_cast<PipeWireStream*>(self)->reportEnd(error != nullptr ? error : "the device has gone");
        };
        events.param_changed = [](void* self, std::uint32_t id, const spa_pod* parameter) {
            if (id == SPA_PARAM_Format) static_cast<PipeWireStream*>(self)->client_.formatChanged(parameter);
        };
        events.process = [](void* self) {
            auto& stream = *static_cast<PipeWireStream*>(self);
            stream.client_.process(stream.stream_);
        };
        return events;
    }();
    return kEvents;
}

/// The client will destroy the stream, which it can't from inside a callback.
void PipeWireStream::reportEnd(std::string reason) {
    hub_.loop().post([self = std::weak_ptr(self_), reason = std::move(reason)] {
        if (const auto stream = self.lock()) (*stream)->client_.ended(reason);
    });
}

}  // namespace varnelle
