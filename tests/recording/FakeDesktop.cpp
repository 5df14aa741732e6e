#include "recording/FakeDesktop.h"

#include <thread>

#include "platform/PlatformError.h"

namespace varnelle::test {
namespace {

class StillPointer final : public PointerInput {
public:
    std::optional<PointerState> currentState() override { return PointerState{{10, 10}, false, false}; }
};

class FakeCameraSession final : public CameraSession {
public:
    explicit FakeCameraSession(FakeDesktop& desktop) : desktop_(desktop) {}
    ~FakeCameraSession() override { stopRunning(); }
    void startRunning() override {
        if (!isRunning_) ++desktop_.runningCameraSessions;
        isRunning_ = true;
    }
    void stopRunning() override {
        if (isRunning_) --desktop_.runningCameraSessions;
        isRunning_ = false;
    }
    [[nodiscard]] bool isRunning() const override { return isRunning_; }
    [[nodiscard]] std::optional<CameraDimensions> activeFormatDimensions() const override {
        return desktop_.cameraDimensions;
    }

private:
    FakeDesktop& desktop_;
    bool isRunning_ = false;
};

class FakeWindowManagement final : public WindowManagement {
public:
    explicit FakeWindowManagement(FakeDesktop& desktop) : desktop_(desktop) {}
    void applyPanelBehaviour(std::uint64_t window, const PanelBehaviour& behaviour) override {
        desktop_.panels[window] = behaviour;
    }
    void orderBelow(std::uint64_t window, std::uint64_t sibling) override {
        desktop_.windowsOrderedBelow.emplace_back(window, sibling);
    }
    bool isCompositing() override { return true; }

private:
    FakeDesktop& desktop_;
};

class FakeShortcut final : public GlobalShortcut {
public:
    explicit FakeShortcut(FakeDesktop& desktop) : desktop_(desktop) {}
    ~FakeShortcut() override {
        desktop_.shortcut = std::nullopt;
        desktop_.pressShortcut = nullptr;
    }

private:
    FakeDesktop& desktop_;
};

class FakeMicrophoneSession final : public MicrophoneSession {
public:
    explicit FakeMicrophoneSession(FakeDesktop& desktop) : desktop_(desktop) {}
    void startRunning() override { ++desktop_.runningMicrophoneSessions; }
    void stopRunning() override { --desktop_.runningMicrophoneSessions; }

private:
    FakeDesktop& desktop_;
};

}  // namespace

class FakeScreenStream final : public ScreenStream {
public:
    FakeScreenStream(FakeDesktop& desktop, std::function<void(std::exception_ptr)> onStop)
        : onStop_(std::move(onStop)), desktop_(desktop) {
        desktop_.stream_ = this;
    }
    ~FakeScreenStream() override {
        desktop_.takeTime();
        desktop_.stream_ = nullptr;
    }

    void addOutput(OutputType type, SerialQueue& queue, SampleHandler handler) override {
        if (type == OutputType::microphone && desktop_.refusesMicrophone) {
            throw PlatformError(PlatformError::Code::unsupported, "No microphone here.");
        }
        outputs_[type] = {&queue, std::move(handler)};
    }
    void startCapture(Completion completion) override {
        desktop_.takeTime();
        if (desktop_.failsStart) {
            completion(std::make_exception_ptr(
                PlatformError(PlatformError::Code::displayUnavailable, "The display is gone.")));
            return;
        }
        isRunning_ = true;
        completion(nullptr);
        if (desktop_.onStart) desktop_.onStart();
    }
    void stopCapture(Completion completion) override {
        desktop_.takeTime();
        isRunning_ = false;
        completion(desktop_.failsStop ? std::make_exception_ptr(PlatformError(
                                            PlatformError::Code::requestFailed, "The stream won't stop."))
                                      : nullptr);
    }
    void deliver(OutputType type, const SampleBuffer& sample) {
        const auto output = outputs_.find(type);
        if (!isRunning_ || output == outputs_.end()) return;
        output->second.queue->async([handler = output->second.handler, sample] { handler(sample); });
    }
    [[nodiscard]] bool isRunning() const { return isRunning_; }

    std::function<void(std::exception_ptr)> onStop_;

private:
    struct Output {
        SerialQueue* queue = nullptr;
        SampleHandler handler;
    };

    FakeDesktop& desktop_;
    std::map<OutputType, Output> outputs_;
    bool isRunning_ = false;
};

void FakeDesktop::takeTime() const {
    std::this_thread::sleep_for(delay);
}

ShareableContent FakeDesktop::shareableContent(const ShareableContentOptions&) {
    takeTime();
    if (refusesContent) throw PlatformError(PlatformError::Code::requestFailed, "Nothing to see.");
    return {displays, applications, windows};
}

std::unique_ptr<ContentObservation> FakeDesktop::observeShareableContent(std::function<void()> onChange) {
    class Observation final : public ContentObservation {
    public:
        explicit Observation(FakeDesktop& desktop) : desktop_(desktop) {}
        ~Observation() override { desktop_.onContentChange = nullptr; }

    private:
        FakeDesktop& desktop_;
    };
    onContentChange = std::move(onChange);
    return std::make_unique<Observation>(*this);
}

std::optional<WindowIcon> FakeDesktop::windowIcon(std::uint32_t windowID, int sizePixels) {
    wantedIconSize = sizePixels;
    const auto icon = windowIcons.find(windowID);
    return icon == windowIcons.end() ? std::nullopt : std::optional(icon->second);
}

std::unique_ptr<ScreenStream> FakeDesktop::makeScreenStream(const ContentFilter& filter,
                                                            const ScreenStreamConfiguration& configuration,
                                                            std::function<void(std::exception_ptr)> onStop) {
    takeTime();
    usedFilter = filter;
    usedConfiguration = configuration;
    return std::make_unique<FakeScreenStream>(*this, std::move(onStop));
}

std::unique_ptr<CameraSession> FakeDesktop::makeCameraSession(const std::string& cameraID,
                                                              CameraOutput output) {
    if (refusesCamera) throw PlatformError(PlatformError::Code::requestFailed, "The camera is in use.");
    usedCameraID = cameraID;
    cameraOutput = std::move(output);
    return std::make_unique<FakeCameraSession>(*this);
}

std::unique_ptr<MicrophoneSession> FakeDesktop::makeMicrophoneSession(
    const std::string& microphoneID, SerialQueue& queue, MicrophoneSession::SampleHandler handler) {
    if (refusesMicrophone) throw PlatformError(PlatformError::Code::requestFailed, "No microphone here.");
    usedMicrophoneID = microphoneID;
    hearMicrophone = [&queue, handler = std::move(handler)](const SampleBuffer& sample) {
        queue.sync([&] { handler(sample); });
    };
    return std::make_unique<FakeMicrophoneSession>(*this);
}

std::unique_ptr<PointerInput> FakeDesktop::makePointerInput() {
    takeTime();
    return std::make_unique<StillPointer>();
}

std::unique_ptr<FocusInput> FakeDesktop::makeFocusInput() {
    takeTime();
    return std::make_unique<FakeFocusInput>();
}

std::unique_ptr<InputMonitors> FakeDesktop::makeInputMonitors() {
    takeTime();
    return std::make_unique<FakeInputMonitors>();
}

std::vector<CaptureDevice> FakeDesktop::microphones() {
    takeTime();
    return microphoneList;
}

std::vector<CaptureDevice> FakeDesktop::cameras() {
    takeTime();
    return cameraList;
}

std::unique_ptr<WindowManagement> FakeDesktop::makeWindowManagement() {
    return std::make_unique<FakeWindowManagement>(*this);
}

std::unique_ptr<GlobalShortcut> FakeDesktop::makeGlobalShortcut(const KeyChord& chord,
                                                                std::function<void()> onPress) {
    if (refusesShortcut) return nullptr;
    shortcut = chord;
    pressShortcut = std::move(onPress);
    return std::make_unique<FakeShortcut>(*this);
}

void FakeDesktop::deliver(ScreenStream::OutputType type, const SampleBuffer& sample) {
    if (stream_ != nullptr) stream_->deliver(type, sample);
}

void FakeDesktop::endStream(std::exception_ptr error) {
    if (stream_ != nullptr) stream_->onStop_(error);
}

bool FakeDesktop::isStreamRunning() const {
    return stream_ != nullptr && stream_->isRunning();
}

ShareableDisplay FakeDesktop::display(int widthPixels, int heightPixels) {
    return {1,           {{0, 0}, {static_cast<double>(widthPixels), static_cast<double>(heightPixels)}},
            widthPixels, heightPixels,
            1.0,         "Fake"};
}

void FakeCamera::start() {
    ++startCount;
    isRunning_ = true;
    if (onStart) onStart();
}

}  // namespace varnelle::test
