#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "foundation/CMTime.h"
#include "foundation/Geometry.h"
#include "foundation/Queue.h"
#include "media/SampleBuffer.h"
#include "platform/ShareableContent.h"

namespace varnelle {

/// A display with all that is on it.
struct DisplayFilter {
    ShareableDisplay display;
    /// Programs whose windows are left out: in their place the picture shows what lies beneath.
    std::vector<ShareableApplication> excludedApplications;
    /// Whose place is shown, if it is a window's: the log tells when that is closed.
    std::optional<ShareableWindow> window{};
};

/// A window by itself, whatever lies over it and wherever it is moved.
struct WindowFilter {
    ShareableWindow window;
};

/// What of the desktop a stream shows.
using ContentFilter = std::variant<DisplayFilter, WindowFilter>;

struct ScreenStreamConfiguration {
    int widthPixels = 0;   ///< of the delivered frames
    int heightPixels = 0;  ///< likewise
    /// The part of a display to show, in points from its top left corner; absent for all of it.
    std::optional<CGRect> sourceRect;
    /// Whether a source of another size than the frames is scaled to them. Otherwise, and where the two
    /// differ by a pixel at most, it is shown from its top left corner pixel by pixel: cut off, or with black
    /// around.
    /// A desktop that can't scale refuses such a stream (`PlatformError`, `unsupported`); an X display can't.
    bool scalesToFit = false;
    bool ignoreShadowsSingleWindow = false;  ///< a window by itself comes without its shadow
    CMTime minimumFrameInterval = CMTime::make(1, 60);
    int queueDepth = 6;  ///< how many frames may be in use at once, at least 2; while all are, changes wait
    bool capturesAudio = false;
    bool excludesCurrentProcessAudio = true;
    bool showsCursor = false;
    bool captureMicrophone = false;
    std::optional<std::string> microphoneCaptureDeviceID;
};

/// A running view of the desktop.
///
/// The first sample is a whole frame of what is shown at the start. After that a sample comes only when the
/// picture has changed, and on average never more often than the minimum frame interval. A screen sample
/// holds an immutable BGRA frame whose fourth byte means nothing (the picture is opaque); its presentation
/// time and `attachments.displayTime` are the host time at which it was read. The pointer is never in it.
///
/// All calls are made on one thread. Destruction stops the stream and waits for its own threads; no handler
/// is queued afterwards. The output queues must outlive the stream.
class ScreenStream {
public:
    enum class OutputType { screen, audio, microphone };
    using SampleHandler = std::function<void(const SampleBuffer&)>;
    /// Called once, on any thread, with null for success.
    using Completion = std::function<void(std::exception_ptr)>;

    virtual ~ScreenStream() = default;

    /// Has samples of a kind delivered to `handler` on `queue`. Before the start, once per kind. Throws
    /// `PlatformError` (`unsupported`) for a kind that the desktop can't deliver.
    virtual void addOutput(OutputType type, SerialQueue& queue, SampleHandler handler) = 0;
    virtual void startCapture(Completion completion) = 0;
    /// When the completion is called, no further sample is queued. Stopping a stream that has stopped on its
    /// own succeeds.
    virtual void stopCapture(Completion completion) = 0;
};

}  // namespace varnelle
