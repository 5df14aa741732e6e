#pragma once

#include <memory>

#include "platform/ScreenStream.h"
#include "platform/linux/PipeWireHub.h"
#include "platform/linux/PipeWireSoundStream.h"

namespace varnelle {

/// A stream of the screen together with its sound: the picture from another stream, the system's sound and
/// the microphone from PipeWire. The sound is 32-bit float at 48,000 Hz, two channels for the system and one
/// for the microphone, at host times that don't drift.
///
/// System sound is what the default output plays, all programs mixed: `excludesCurrentProcessAudio` can't be
/// followed, since the mix can't be taken apart. The program itself has to be silent while it records.
/// It is timed when the output takes it; how much later the output's hardware lets it be heard isn't known to
/// listeners, so that it may lie some hundredths of a second early.
/// Missing sound (no server, no device, one that was unplugged) never fails or ends the stream. It is logged,
/// and delivered when it is there.
class LinuxScreenStream final : public ScreenStream {
public:
    LinuxScreenStream(std::unique_ptr<ScreenStream> picture, std::shared_ptr<PipeWireHub> hub,
                      const ScreenStreamConfiguration& configuration);
    ~LinuxScreenStream() override;
    LinuxScreenStream(const LinuxScreenStream&) = delete;
    LinuxScreenStream& operator=(const LinuxScreenStream&) = delete;

    void addOutput(OutputType type, SerialQueue& queue, SampleHandler handler) override;
    /// The sound starts together with the picture, or not at all.
    void startCapture(Completion completion) override;
    void stopCapture(Completion completion) override;

private:
    std::unique_ptr<ScreenStream> picture_;
    std::shared_ptr<PipeWireHub> hub_;
    ScreenStreamConfiguration configuration_;
    std::unique_ptr<PipeWireSoundStream> systemSound_;
    std::unique_ptr<PipeWireSoundStream> microphone_;
};

}  // namespace varnelle
