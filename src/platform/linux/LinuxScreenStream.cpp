#include "platform/linux/LinuxScreenStream.h"

#include <exception>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/PlatformError.h"

namespace varnelle {
namespace {

/// Calls a completion when a number of parts have all come to their end, with the first failure there was.
class JointCompletion {
public:
    JointCompletion(std::size_t partCount, ScreenStream::Completion completion)
        : remaining_(partCount), completion_(std::move(completion)) {}

    void partEnded(std::exception_ptr failure) {
        {
            const std::lock_guard lock(mutex_);
            if (!failure_) failure_ = std::move(failure);
            if (--remaining_ > 0) return;
        }
        completion_(std::exchange(failure_, nullptr));
    }

private:
    std::mutex mutex_;
    std::size_t remaining_;       // guarded by mutex_
    std::exception_ptr failure_;  // guarded by mutex_ while parts remain
    ScreenStream::Completion completion_;
};

}  // namespace

LinuxScreenStream::LinuxScreenStream(std::unique_ptr<ScreenStream> picture, std::shared_ptr<PipeWireHub> hub,
                                     const ScreenStreamConfiguration& configuration)
    : picture_(std::move(picture)), hub_(std::move(hub)), configuration_(configuration) {}

LinuxScreenStream::~LinuxScreenStream() = default;

void LinuxScreenStream::addOutput(OutputType type, SerialQueue& queue, SampleHandler handler) {
    using Source = PipeWireSoundStream::Source;
    switch (type) {
        case OutputType::screen:
            picture_->addOutput(type, queue, std::move(handler));
            return;
        case OutputType::audio:
            systemSound_ = std::make_unique<PipeWireSoundStream>(hub_, Source::systemSound, std::nullopt,
                                                                 queue, std::move(handler));
            return;
        case OutputType::microphone:
            microphone_ = std::make_unique<PipeWireSoundStream>(hub_, Source::microphone,
                                                                configuration_.microphoneCaptureDeviceID,
                                                                queue, std::move(handler));
            return;
    }
}

void LinuxScreenStream::startCapture(Completion completion) {
    picture_->startCapture([this, completion = std::move(completion)](const std::exception_ptr& failure) {
        if (!failure && systemSound_) systemSound_->start();
        if (!failure && microphone_) microphone_->start();
        completion(failure);
    });
}

void LinuxScreenStream::stopCapture(Completion completion) {
    std::vector<PipeWireSoundStream*> sounds;
    if (systemSound_) sounds.push_back(systemSound_.get());
    if (microphone_) sounds.push_back(microphone_.get());
    const auto joint = std::make_shared<JointCompletion>(sounds.size() + 1, std::move(completion));
    for (PipeWireSoundStream* const sound : sounds) sound->stop([joint] { joint->partEnded(nullptr); });
    picture_->stopCapture([joint](std::exception_ptr failure) { joint->partEnded(std::move(failure)); });
}

}  // namespace varnelle
