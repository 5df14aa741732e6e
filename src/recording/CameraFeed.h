#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "media/SampleBuffer.h"
#include "recording/RecordingGeometry.h"

namespace varnelle {

/// A camera that is set up for capture. All calls are for the main thread; frames come on the camera's own
/// queue.
class CameraFeed {
public:
    using FrameCallback = std::function<void(const SampleBuffer&)>;

    virtual ~CameraFeed() = default;
    /// Who gets the frames from now on; an empty callback for nobody. When it returns, the callback before is
    /// neither running nor called any more.
    virtual void setOnCameraFrame(FrameCallback callback) = 0;
    virtual void start() = 0;
    virtual void stop() = 0;
    [[nodiscard]] virtual bool isRunning() const = 0;
    /// The size of the frames in pixels; absent without a device.
    [[nodiscard]] virtual std::optional<PixelSize> activeFormatDimensions() const = 0;
};

/// Sets up the camera with the given unique ID, or the default one. Throws `Error` if there is none.
using CameraFactory =
    std::function<std::shared_ptr<CameraFeed>(const std::optional<std::string>& preferredCameraID)>;

}  // namespace varnelle
