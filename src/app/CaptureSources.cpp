#include "app/CaptureSources.h"

#include <QCoreApplication>
#include <QPointer>
#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>

#include "app/SourceRules.h"
#include "foundation/Error.h"
#include "foundation/Log.h"
#include "tasks/Completion.h"

namespace varnelle {
namespace {

constexpr int kFrameRate = 60;
constexpr int kStreamQueueDepth = 6;

struct Devices {
    std::vector<CaptureDevice> microphones;
    std::vector<CaptureDevice> cameras;
};

/// All that a refresh asks the desktop for.
struct Reading {
    std::optional<ShareableContent> content;  ///< absent if it can't be read
    std::string failure;
    Devices devices;
};

Reading read(DesktopPlatform& platform) {
    Reading reading;
    try {
        reading.content = platform.shareableContent({});
    } catch (const Error& error) {
        reading.failure = error.what();
    }
    reading.devices = {platform.captureDevices().microphones(), platform.captureDevices().cameras()};
    return reading;
}

bool contains(const std::vector<CaptureDevice>& devices, const std::string& uniqueID) {
    return std::any_of(devices.begin(), devices.end(),
                       [&uniqueID](const CaptureDevice& device) { return device.uniqueID == uniqueID; });
}

}  // namespace

CaptureSources::CaptureSources(DesktopPlatform& platform,
                               std::function<std::optional<std::string>()> preferredDisplayName)
    : platform_(platform), preferredDisplayName_(std::move(preferredDisplayName)) {
    follow();
}

CaptureSources::~CaptureSources() {
    contentObservation_ = nullptr;
    deviceObservation_ = nullptr;
}

/// The callbacks come on threads of the desktop's; many changes before the main thread gets to them cost one
/// refresh.
void CaptureSources::follow() {
    const auto isAsked = std::make_shared<std::atomic<bool>>(false);
    const auto onChange = [this, isAsked] {
        if (isAsked->exchange(true)) return;
        const auto refresh = [this, isAsked] {
            *isAsked = false;
            refreshCaptureSources();
        };
        QMetaObject::invokeMethod(this, refresh, Qt::QueuedConnection);
    };
    contentObservation_ = platform_.observeShareableContent(onChange);
    deviceObservation_ = platform_.captureDevices().observeChanges(onChange);
}

template <typename Value>
bool CaptureSources::set(Value& field, Value value, void (CaptureSources::*changed)()) {
    if (field == value) return false;
    field = std::move(value);
    emit(this->*changed)();
    return true;
}

QCoro::Task<> CaptureSources::refreshCaptureSources() {
    const QPointer<CaptureSources> self = this;
    const Completion<Reading> reading = resultOn(queue_, [&platform = platform_] { return read(platform); });
    const Reading result = co_await reading;
    if (!self) co_return;
    if (result.content) {
        applyContent(*result.content);
    } else {
        logger(LogCategory::app).error("Failed to enumerate content: {}", result.failure);
    }
    set(_availableMicrophones, result.devices.microphones, &CaptureSources::devicesChanged);
    set(_availableCameras, result.devices.cameras, &CaptureSources::devicesChanged);
    set(_selectedMicrophoneID, defaultDevice(_availableMicrophones, _selectedMicrophoneID),
        &CaptureSources::selectionChanged);
    setCamera(defaultDevice(_availableCameras, _selectedCameraID), _isCameraEnabled);
}

void CaptureSources::applyContent(const ShareableContent& content) {
    set(_availableDisplays, content.displays, &CaptureSources::displaysChanged);
    set(_availableWindows, offeredWindows(content.windows, QCoreApplication::applicationPid()),
        &CaptureSources::windowsChanged);
    updateSelectedDisplay();
    set(_selectedWindow, defaultWindow(_availableWindows, _availableDisplays, _selectedWindow),
        &CaptureSources::selectionChanged);
}

void CaptureSources::updateSelectedDisplay() {
    set(_selectedDisplay, defaultDisplay(_availableDisplays, preferredDisplayName_()),
        &CaptureSources::selectionChanged);
}

void CaptureSources::setRecordingType(std::optional<RecordingType> type) {
    set(_recordingType, type, &CaptureSources::recordingTypeChanged);
}

void CaptureSources::selectDisplay(std::uint32_t displayID) {
    for (const ShareableDisplay& display : _availableDisplays) {
        if (display.displayID == displayID)
            set(_selectedDisplay, std::optional(display), &CaptureSources::selectionChanged);
    }
}

void CaptureSources::selectWindow(std::uint32_t windowID) {
    for (const ShareableWindow& window : _availableWindows) {
        if (window.windowID == windowID)
            set(_selectedWindow, std::optional(window), &CaptureSources::selectionChanged);
    }
}

void CaptureSources::raiseWindow(const ShareableWindow& window) {
    queue_.async([&platform = platform_, id = window.windowID] { platform.raiseWindow(id); });
}

void CaptureSources::setSelectedAreaRect(std::optional<CGRect> rect) {
    set(_selectedAreaRect, rect, &CaptureSources::selectionChanged);
}

void CaptureSources::selectMicrophone(const std::string& uniqueID) {
    if (!contains(_availableMicrophones, uniqueID)) return;
    set(_selectedMicrophoneID, std::optional(uniqueID), &CaptureSources::selectionChanged);
}

void CaptureSources::selectCamera(const std::string& uniqueID) {
    if (!contains(_availableCameras, uniqueID)) return;
    setCamera(uniqueID, _isCameraEnabled);
}

void CaptureSources::setCameraEnabled(bool isEnabled) {
    setCamera(_selectedCameraID, isEnabled);
}

void CaptureSources::setCamera(std::optional<std::string> uniqueID, bool isEnabled) {
    const bool isOther = set(_selectedCameraID, std::move(uniqueID), &CaptureSources::selectionChanged);
    const bool isSwitched = set(_isCameraEnabled, isEnabled, &CaptureSources::selectionChanged);
    if (isOther || isSwitched) emit cameraSelectionChanged();
}

void CaptureSources::setMicrophoneEnabled(bool isEnabled) {
    set(_isMicrophoneEnabled, isEnabled, &CaptureSources::selectionChanged);
}

void CaptureSources::setSystemAudioEnabled(bool isEnabled) {
    set(_isSystemAudioEnabled, isEnabled, &CaptureSources::selectionChanged);
}

double CaptureSources::primaryScreenHeight() const {
    return _availableDisplays.empty() ? 0 : _availableDisplays.front().frame.height();
}

std::optional<RecordingConfiguration> CaptureSources::makeRecordingConfiguration() const {
    const auto chosen = source();
    if (!chosen) return std::nullopt;
    RecordingConfiguration configuration;
    configuration.source = *chosen;
    configuration.captureSystemAudio = _isSystemAudioEnabled;
    configuration.captureMicrophone = _isMicrophoneEnabled;
    configuration.captureCamera = _isCameraEnabled;
    configuration.preferredMicrophoneID = _selectedMicrophoneID;
    configuration.preferredCameraID = _selectedCameraID;
    configuration.frameRate = kFrameRate;
    configuration.streamQueueDepth = kStreamQueueDepth;
    return configuration;
}

std::optional<RecordingConfiguration::Source> CaptureSources::source() const {
    if (_recordingType == RecordingType::window && _selectedWindow) {
        const auto holding = displayHolding(_availableDisplays, _selectedWindow->frame.center());
        return RecordingConfiguration::WindowSource{*_selectedWindow, holding ? holding : _selectedDisplay};
    }
    if (!_selectedDisplay) return std::nullopt;
    if (_recordingType != RecordingType::area)
        return RecordingConfiguration::DisplaySource{*_selectedDisplay};
    const double scale = displayScale(_availableDisplays, _selectedDisplay->displayID);
    const auto rect =
        areaSelectionForCapture(_selectedAreaRect, *_selectedDisplay, primaryScreenHeight(), scale);
    if (!rect) return std::nullopt;
    return RecordingConfiguration::AreaSource{*_selectedDisplay, *rect, scale};
}

}  // namespace varnelle
