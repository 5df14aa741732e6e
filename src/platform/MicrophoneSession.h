#pragma once

#include <functional>

#include "foundation/Queue.h"
#include "media/SampleBuffer.h"

namespace varnelle {

/// A connection to one microphone that isn't part of a screen's stream: 32-bit float sound of one channel at
/// 48,000 Hz, on the host clock. A microphone that is unplugged is logged once; the session goes on when it
/// is back. For one thread at a time. Destruction stops the session; no handler is queued afterwards.
class MicrophoneSession {
public:
    using SampleHandler = std::function<void(const SampleBuffer&)>;

    virtual ~MicrophoneSession() = default;
    /// Both return at once.
    virtual void startRunning() = 0;
    virtual void stopRunning() = 0;
};

}  // namespace varnelle
