#include "recording/CameraManager.h"

#include <algorithm>
#include <utility>

#include "foundation/Log.h"
#include "platform/PlatformError.h"
#include "recording/AudioEngine.h"

namespace varnelle {
namespace {

constexpr std::uint64_t kForwardedFramesPerLogLine = 300;
constexpr std::uint64_t kDroppedFramesPerLogLine = 60;

const char* message(CameraError::Code code) {
    switch (code) {
        case CameraError::Code::noDeviceAvailable:
            return "The camera isn't connected.";
        case CameraError::Code::cannotAddInput:
            return "The camera can't be used.";
        case CameraError::Code::cannotAddOutput:
            return "The camera's pictures can't be received.";
    }
    return "";
}

}  // namespace

CameraError::CameraError(Code code) : Error(message(code)), code_(code) {}

CameraManager::CameraManager(DesktopPlatform& platform) : platform_(platform) {}

CameraManager::~CameraManager() = default;

void CameraManager::setup(const std::optional<std::string>& preferredCameraID,
                          const std::optional<std::string>& preferredMicrophoneID) {
    session_ = nullptr;
    microphone_ = nullptr;
    currentDevice_ = std::nullopt;
    const auto cameras = availableCameras(platform_.captureDevices());
    const auto camera = std::find_if(cameras.begin(), cameras.end(), [&](const CaptureDevice& candidate) {
        return !preferredCameraID || candidate.uniqueID == *preferredCameraID;
    });
    if (camera == cameras.end()) throw CameraError(CameraError::Code::noDeviceAvailable);
    CameraOutput output;
    output.queue = &processingQueue_;
    output.onFrame = [this](const SampleBuffer& frame) { receiveFrame(frame); };
    output.onDrop = [this] { noteDrop(); };
    try {
        session_ = platform_.makeCameraSession(camera->uniqueID, std::move(output));
    } catch (const PlatformError& error) {
        logger(LogCategory::capture).error("Setting up the camera failed: {}", error.what());
        throw CameraError(CameraError::Code::cannotAddInput);
    }
    currentDevice_ = *camera;
    if (preferredMicrophoneID) addMicrophone(*preferredMicrophoneID);
}

void CameraManager::addMicrophone(const std::string& microphoneID) {
    const auto microphones = AudioEngine::availableMicrophones(platform_.captureDevices());
    const auto microphone =
        std::find_if(microphones.begin(), microphones.end(),
                     [&](const CaptureDevice& candidate) { return candidate.uniqueID == microphoneID; });
    if (microphone == microphones.end()) return;
    microphone_ =
        platform_.makeMicrophoneSession(microphoneID, audioQueue_, [this](const SampleBuffer& sample) {
            const std::lock_guard lock(mutex_);
            if (onMicAudio_) onMicAudio_(sample);
        });
    logger(LogCategory::capture).info("Mic added to camera session: {}", microphone->localizedName);
}

void CameraManager::setOnMicAudio(FrameCallback callback) {
    const std::lock_guard lock(mutex_);
    onMicAudio_ = std::move(callback);
}

void CameraManager::setOnCameraFrame(FrameCallback callback) {
    const std::lock_guard lock(mutex_);
    onCameraFrame_ = std::move(callback);
}

void CameraManager::setOnPreviewFrame(FrameCallback callback) {
    const std::lock_guard lock(mutex_);
    onPreviewFrame_ = std::move(callback);
}

void CameraManager::start() {
    if (session_ == nullptr || session_->isRunning()) return;
    {
        const std::lock_guard lock(mutex_);
        latestFrame_ = std::nullopt;
    }
    session_->startRunning();
    if (microphone_) microphone_->startRunning();
}

void CameraManager::stop() {
    if (!isRunning()) return;
    session_->stopRunning();
    if (microphone_) microphone_->stopRunning();
}

bool CameraManager::isRunning() const {
    return session_ != nullptr && session_->isRunning();
}

std::optional<PixelSize> CameraManager::activeFormatDimensions() const {
    if (session_ == nullptr) return std::nullopt;
    const auto dimensions = session_->activeFormatDimensions();
    if (!dimensions) return std::nullopt;
    return PixelSize{dimensions->widthPixels, dimensions->heightPixels};
}

std::optional<SampleBuffer> CameraManager::latestFrame() const {
    const std::lock_guard lock(mutex_);
    return latestFrame_;
}

CameraManager::Counters CameraManager::counters() {
    return processingQueue_.sync([this] { return counters_; });
}

void CameraManager::receiveFrame(const SampleBuffer& frame) {
    ++counters_.forwardedVideoFrames;
    if (counters_.forwardedVideoFrames % kForwardedFramesPerLogLine == 0 &&
        counters_.droppedVideoFrames != 0) {
        logger(LogCategory::capture)
            .info("Video frames forwarded={}, dropped={}", counters_.forwardedVideoFrames,
                  counters_.droppedVideoFrames);
    }
    // Both receivers only pass the frame on, so whoever changes one hardly waits.
    const std::lock_guard lock(mutex_);
    latestFrame_ = frame;
    if (onCameraFrame_) onCameraFrame_(frame);
    if (onPreviewFrame_) onPreviewFrame_(frame);
}

void CameraManager::noteDrop() {
    if (++counters_.droppedVideoFrames % kDroppedFramesPerLogLine == 0) {
        logger(LogCategory::capture).info("Dropped camera video frames: {}", counters_.droppedVideoFrames);
    }
}

CameraFactory cameraManagerFactory(DesktopPlatform& platform) {
    return [&platform](const std::optional<std::string>& preferredCameraID) -> std::shared_ptr<CameraFeed> {
        auto manager = std::make_shared<CameraManager>(platform);
        manager->setup(preferredCameraID);
        return manager;
    };
}

}  // namespace varnelle
