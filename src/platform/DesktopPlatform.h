#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/AudioOutput.h"
#include "platform/CameraSession.h"
#include "platform/CaptureDevices.h"
#include "platform/FocusInput.h"
#include "platform/GlobalShortcut.h"
#include "platform/InputMonitors.h"
#include "platform/MicrophoneSession.h"
#include "platform/PixelRegion.h"
#include "platform/PointerInput.h"
#include "platform/ScreenStream.h"
#include "platform/ShareableContent.h"
#include "platform/WindowManagement.h"

namespace varnelle {

/// Stops observing when it is destroyed; its callback isn't running any more then.
class ContentObservation {
public:
    virtual ~ContentObservation() = default;
};

/// A small picture: rows of pixels from the top, each 0xAARRGGBB, not premultiplied.
struct WindowIcon {
    int widthPixels = 0;
    int heightPixels = 0;
    std::vector<std::uint32_t> pixels;
};

/// The desktop that the program runs on: the one door to everything that knows an operating system. A main
/// program builds one and passes it on by constructor. Safe to share between threads; what it makes is for
/// one thread each.
class DesktopPlatform {
public:
    virtual ~DesktopPlatform() = default;

    /// Why nothing on this desktop can be recorded, for the user to read; absent if it can. Never changes.
    [[nodiscard]] virtual std::optional<std::string> recordingObstacle() const = 0;
    /// What can be recorded now. Throws `PlatformError` if there is no desktop.
    [[nodiscard]] virtual ShareableContent shareableContent(const ShareableContentOptions& options) = 0;
    /// Calls `onChange` whenever displays or windows may have changed, until the result is destroyed: on a
    /// thread of its own, soon after the change and once for many at a time. Null if there is no desktop.
    [[nodiscard]] virtual std::unique_ptr<ContentObservation> observeShareableContent(
        std::function<void()> onChange) = 0;
    /// Brings a window to the front and gives it the keyboard, as far as the desktop lets programs do that. A
    /// window that is gone is nothing to complain about.
    virtual void raiseWindow(std::uint32_t windowID) = 0;
    /// The picture that a window shows itself by: the smallest that is at least `sizePixels` wide, else the
    /// largest. Absent if the window has none or is gone.
    [[nodiscard]] virtual std::optional<WindowIcon> windowIcon(std::uint32_t windowID, int sizePixels) = 0;
    /// What the desktop shows now in a rectangle of its pixels, or would show if this program had no windows:
    /// BGRA. Absent if there is no desktop.
    [[nodiscard]] virtual std::optional<VideoFrame> pictureOfDesktop(const PixelRect& area) = 0;
    /// `onStop` is called once, on any thread, if the stream ends on its own. Throws `PlatformError`.
    [[nodiscard]] virtual std::unique_ptr<ScreenStream> makeScreenStream(
        const ContentFilter& filter, const ScreenStreamConfiguration& configuration,
        std::function<void(std::exception_ptr)> onStop) = 0;
    /// Throws `PlatformError` if there is no desktop.
    [[nodiscard]] virtual std::unique_ptr<PointerInput> makePointerInput() = 0;
    /// Throws `PlatformError` if there is no desktop.
    [[nodiscard]] virtual std::unique_ptr<FocusInput> makeFocusInput() = 0;
    [[nodiscard]] virtual std::unique_ptr<InputMonitors> makeInputMonitors() = 0;
    /// Throws `PlatformError` if there is no desktop.
    [[nodiscard]] virtual std::unique_ptr<WindowManagement> makeWindowManagement() = 0;
    /// Calls `onPress` each time the chord is pressed, once however long it is held, on a thread of the
    /// shortcut's own. Null, with a line in the log, if the chord can't be had: another program has it, or
    /// the keyboard has no such key.
    [[nodiscard]] virtual std::unique_ptr<GlobalShortcut> makeGlobalShortcut(
        const KeyChord& chord, std::function<void()> onPress) = 0;
    [[nodiscard]] virtual CaptureDevices& captureDevices() = 0;
    /// `cameraID` is the unique ID of one of the cameras. Throws `PlatformError` if it can't be used.
    [[nodiscard]] virtual std::unique_ptr<CameraSession> makeCameraSession(const std::string& cameraID,
                                                                           CameraOutput output) = 0;
    /// `microphoneID` is the unique ID of one of the microphones; `handler` is called on `queue`, which must
    /// outlive the session. Throws `PlatformError` if it can't be used.
    [[nodiscard]] virtual std::unique_ptr<MicrophoneSession> makeMicrophoneSession(
        const std::string& microphoneID, SerialQueue& queue, MicrophoneSession::SampleHandler handler) = 0;
    /// Plays to the output that the desktop prefers; without one it keeps time all the same.
    [[nodiscard]] virtual std::unique_ptr<AudioOutput> makeAudioOutput() = 0;
};

}  // namespace varnelle
