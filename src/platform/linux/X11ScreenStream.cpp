#include "platform/linux/X11ScreenStream.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <cmath>
#include <mutex>
#include <string>
#include <thread>
#include <variant>

#include <fmt/format.h>

#include "platform/PlatformError.h"
#include "platform/linux/FramePacer.h"
#include "platform/linux/X11Capture.h"

namespace varnelle {
namespace {

void checkSize(const ContentFilter& filter, const ScreenStreamConfiguration& configuration) {
    const bool hasSize = configuration.widthPixels > 0 && configuration.heightPixels > 0;
    const auto* shown = std::get_if<DisplayFilter>(&filter);
    if (shown == nullptr && hasSize) return;
    int sourceWidth = 0;
    int sourceHeight = 0;
    std::string name = "window";
    if (shown != nullptr) {
        const ShareableDisplay& display = shown->display;
        name = fmt::format("display “{}”", display.name);
        sourceWidth = display.widthPixels;
        sourceHeight = display.heightPixels;
        if (configuration.sourceRect) {
            sourceWidth = static_cast<int>(std::lround(configuration.sourceRect->width() * display.scale));
            sourceHeight = static_cast<int>(std::lround(configuration.sourceRect->height() * display.scale));
        }
    }
    const auto fits = [](int source, int frame) { return source >= frame && source - frame <= 1; };
    if (hasSize && fits(sourceWidth, configuration.widthPixels) &&
        fits(sourceHeight, configuration.heightPixels)) {
        return;
    }
    throw PlatformError(
        PlatformError::Code::unsupported,
        fmt::format("{} by {} pixels of the {} can't be recorded at {} by {}.", sourceWidth, sourceHeight,
                    name, configuration.widthPixels, configuration.heightPixels));
}

std::chrono::nanoseconds nanoseconds(const CMTime& time) {
    return std::chrono::nanoseconds(std::llround(clampedSeconds(time) * 1e9));
}

timespec timespecOf(std::chrono::nanoseconds duration) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(duration);
    return {seconds.count(), (duration - seconds).count()};
}

}  // namespace

/// The capture's thread. All but `mutex_` and what it guards belongs to that thread once it runs.
class X11ScreenStream::Capture {
public:
    Capture(const X11ScreenStream& stream)
        : display_(stream.displayName_, stream.filter_, stream.configuration_),
          pacer_(nanoseconds(stream.configuration_.minimumFrameInterval)),
          queue_(*stream.queue_),
          handler_(std::make_shared<const SampleHandler>(stream.handler_)),
          onStop_(stream.onStop_),
          wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (wakeUp_ < 0) throw FileError("Creating", "a wake-up event", errno);
        thread_ = std::thread([this] { run(); });
    }
    ~Capture() {
        requestStop(nullptr);
        thread_.join();
        close(wakeUp_);
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    /// `completion`, if any, is called when the thread has done its last work.
    void requestStop(Completion completion) {
        {
            const std::lock_guard lock(mutex_);
            isStopping_ = true;
            if (!hasEnded_) std::swap(onEnd_, completion);
        }
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(wakeUp_, &one, sizeof one);
        if (completion) completion(nullptr);
    }

private:
    void run() {
        pthread_setname_np(pthread_self(), "screen-stream");
        // Handed to the queue only when this thread has let go of it: whoever reads the error is its last
        // owner.
        std::exception_ptr failure;
        try {
            while (waitForFrameTime()) takeFrame();
        } catch (const std::exception&) {
            failure = std::current_exception();
        }
        if (failure) reportEnd(std::move(failure));
        Completion completion;
        {
            const std::lock_guard lock(mutex_);
            hasEnded_ = true;
            std::swap(completion, onEnd_);
        }
        if (completion) completion(nullptr);
    }

    /// Sleeps until there are changes and a frame may be taken. False when the stream is to stop.
    bool waitForFrameTime() {
        while (!isStopping()) {
            const bool hasChanges = display_.hasChanges();
            const auto wait = pacer_.earliestNext() - FramePacer::Clock::now();
            if (hasChanges && wait <= wait.zero()) return true;
            // While a frame has to wait for its time, further reports of drawing say nothing new.
            pollfd watched[2] = {{wakeUp_, POLLIN, 0}, {display_.fileDescriptor(), POLLIN, 0}};
            const timespec timeout = timespecOf(wait);
            ppoll(watched, hasChanges ? 1 : 2, hasChanges ? &timeout : nullptr, nullptr);
        }
        return false;
    }

    void takeFrame() {
        SampleBuffer sample;
        const auto outcome = display_.takeFrame(sample);
        pacer_.noteFrame(FramePacer::Clock::now());
        if (outcome != X11Capture::Outcome::frame) return;
        queue_.async([handler = handler_, sample = std::move(sample)] { (*handler)(sample); });
    }

    void reportEnd(std::exception_ptr failure) {
        if (isStopping() || !onStop_) return;
        queue_.async([onStop = onStop_, error = std::move(failure)] { onStop(error); });
    }

    bool isStopping() {
        const std::lock_guard lock(mutex_);
        return isStopping_;
    }

    X11Capture display_;
    FramePacer pacer_;
    SerialQueue& queue_;
    std::shared_ptr<const SampleHandler> handler_;
    std::function<void(std::exception_ptr)> onStop_;
    int wakeUp_;
    std::mutex mutex_;
    bool isStopping_ = false;  // guarded by mutex_
    bool hasEnded_ = false;    // guarded by mutex_
    Completion onEnd_;         // guarded by mutex_
    std::thread thread_;
};

X11ScreenStream::X11ScreenStream(std::string displayName, const ContentFilter& filter,
                                 const ScreenStreamConfiguration& configuration,
                                 std::function<void(std::exception_ptr)> onStop)
    : displayName_(std::move(displayName)),
      filter_(filter),
      configuration_(configuration),
      onStop_(std::move(onStop)) {
    checkSize(filter, configuration);
    if (configuration.showsCursor) {
        throw PlatformError(PlatformError::Code::unsupported,
                            "An X display is recorded without its pointer.");
    }
}

X11ScreenStream::~X11ScreenStream() = default;

void X11ScreenStream::addOutput(OutputType type, SerialQueue& queue, SampleHandler handler) {
    switch (type) {
        case OutputType::screen:
            queue_ = &queue;
            handler_ = std::move(handler);
            return;
        case OutputType::audio:
        case OutputType::microphone:
            throw PlatformError(PlatformError::Code::unsupported, "An X display has no sound.");
    }
}

void X11ScreenStream::startCapture(Completion completion) {
    assert(queue_ != nullptr && "a stream needs its screen output before the start");
    std::exception_ptr failure;
    try {
        capture_ = nullptr;
        capture_ = std::make_unique<Capture>(*this);
    } catch (const std::exception&) {
        failure = std::current_exception();
    }
    completion(failure);
}

void X11ScreenStream::stopCapture(Completion completion) {
    if (capture_ == nullptr) return completion(nullptr);
    capture_->requestStop(std::move(completion));
}

}  // namespace varnelle
