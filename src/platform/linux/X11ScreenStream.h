#pragma once

#include <memory>
#include <string>

#include "platform/ScreenStream.h"

namespace varnelle {

/// Records a display of an X server, driven by its damage reports: a thread of the stream's own sleeps until
/// something is drawn, reads what has changed and hands out a frame, at most one per minimum frame interval.
class X11ScreenStream final : public ScreenStream {
public:
    /// Throws `PlatformError` for a pointer in the picture or a frame size that isn't that of the display or
    /// of its part that is shown, up to one pixel less.
    X11ScreenStream(std::string displayName, const ContentFilter& filter,
                    const ScreenStreamConfiguration& configuration,
                    std::function<void(std::exception_ptr)> onStop);
    ~X11ScreenStream() override;
    X11ScreenStream(const X11ScreenStream&) = delete;
    X11ScreenStream& operator=(const X11ScreenStream&) = delete;

    void addOutput(OutputType type, SerialQueue& queue, SampleHandler handler) override;
    void startCapture(Completion completion) override;
    void stopCapture(Completion completion) override;

private:
    class Capture;

    std::string displayName_;
    ContentFilter filter_;
    ScreenStreamConfiguration configuration_;
    std::function<void(std::exception_ptr)> onStop_;
    SerialQueue* queue_ = nullptr;
    SampleHandler handler_;
    std::unique_ptr<Capture> capture_;
};

}  // namespace varnelle
