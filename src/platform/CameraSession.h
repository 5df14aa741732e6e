#pragma once

#include <functional>
#include <optional>
#include <string>

#include "foundation/Queue.h"
#include "media/SampleBuffer.h"

namespace varnelle {

struct CameraDimensions {
    int widthPixels = 0;
    int heightPixels = 0;

    bool operator==(const CameraDimensions&) const = default;
};

/// Where a session's output goes: both handlers are called on `queue`, which must outlive the session.
struct CameraOutput {
    SerialQueue* queue = nullptr;
    /// Gets each picture with its host time, in a format that a movie can be written from.
    std::function<void(const SampleBuffer&)> onFrame;
    /// Told of each picture that was dropped since the queue was still busy with the one before, or that
    /// couldn't be read.
    std::function<void()> onDrop;
};

/// A connection to one camera, at the best format of up to 1920 by 1080 pixels and 60 pictures a second that
/// it has. Pictures that nobody takes in time are dropped rather than queued. A camera that is unplugged, or
/// whose server goes away, is logged once; the session goes on when it is back.
///
/// For one thread at a time. Destruction stops the session; neither handler is queued afterwards.
class CameraSession {
public:
    virtual ~CameraSession() = default;

    /// All return at once.
    virtual void startRunning() = 0;
    virtual void stopRunning() = 0;
    /// Whether it has been started, whatever the camera delivers.
    [[nodiscard]] virtual bool isRunning() const = 0;
    /// The size of the pictures: before the start, the size that will be asked for. Absent if the camera
    /// doesn't say.
    [[nodiscard]] virtual std::optional<CameraDimensions> activeFormatDimensions() const = 0;
};

}  // namespace varnelle
