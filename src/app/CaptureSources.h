#pragma once

#include <QCoro/QCoroTask>
#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/AppMode.h"
#include "foundation/Queue.h"
#include "platform/DesktopPlatform.h"
#include "recording/RecordingConfiguration.h"

namespace varnelle {

/// What can be recorded now, and what the user has chosen of it. The lists follow the desktop by themselves.
/// Main thread.
class CaptureSources final : public QObject {
    Q_OBJECT

public:
    /// `preferredDisplayName` tells the display that each refresh chooses: the one on which the program shows
    /// itself; absent for the primary one. The platform must outlive the object.
    CaptureSources(DesktopPlatform& platform,
                   std::function<std::optional<std::string>()> preferredDisplayName);
    ~CaptureSources() override;

    /// Reads everything anew. Never fails: what can't be read stays as it was.
    QCoro::Task<> refreshCaptureSources();

    [[nodiscard]] const std::vector<ShareableDisplay>& availableDisplays() const {
        return _availableDisplays;
    }
    [[nodiscard]] const std::vector<ShareableWindow>& availableWindows() const { return _availableWindows; }
    [[nodiscard]] const std::vector<CaptureDevice>& availableMicrophones() const {
        return _availableMicrophones;
    }
    [[nodiscard]] const std::vector<CaptureDevice>& availableCameras() const { return _availableCameras; }

    [[nodiscard]] std::optional<RecordingType> recordingType() const { return _recordingType; }
    [[nodiscard]] const std::optional<ShareableDisplay>& selectedDisplay() const { return _selectedDisplay; }
    [[nodiscard]] const std::optional<ShareableWindow>& selectedWindow() const { return _selectedWindow; }
    /// In global points, origin at the bottom left of the primary screen.
    [[nodiscard]] const std::optional<CGRect>& selectedAreaRect() const { return _selectedAreaRect; }
    [[nodiscard]] const std::optional<std::string>& selectedMicrophoneID() const {
        return _selectedMicrophoneID;
    }
    [[nodiscard]] const std::optional<std::string>& selectedCameraID() const { return _selectedCameraID; }
    [[nodiscard]] bool isCameraEnabled() const { return _isCameraEnabled; }
    [[nodiscard]] bool isMicrophoneEnabled() const { return _isMicrophoneEnabled; }
    [[nodiscard]] bool isSystemAudioEnabled() const { return _isSystemAudioEnabled; }

    void setRecordingType(std::optional<RecordingType> type);
    /// Numbers and IDs that aren't in the lists change nothing.
    void selectDisplay(std::uint32_t displayID);
    void selectWindow(std::uint32_t windowID);
    /// Brings a window to the front, in the background.
    void raiseWindow(const ShareableWindow& window);
    void setSelectedAreaRect(std::optional<CGRect> rect);
    void selectMicrophone(const std::string& uniqueID);
    void selectCamera(const std::string& uniqueID);
    void setCameraEnabled(bool isEnabled);
    void setMicrophoneEnabled(bool isEnabled);
    void setSystemAudioEnabled(bool isEnabled);

    /// Chooses the display anew, as a refresh does.
    void updateSelectedDisplay();
    /// Height of the primary screen in points, 0 without screens; what `flippedGlobalRect` asks for.
    [[nodiscard]] double primaryScreenHeight() const;
    /// What the selection comes to; absent if there is no display, or no area that could be recorded.
    [[nodiscard]] std::optional<RecordingConfiguration> makeRecordingConfiguration() const;

signals:
    void displaysChanged();
    void windowsChanged();
    void devicesChanged();
    void selectionChanged();
    /// Besides `selectionChanged`, where the camera is another one or has been switched on or off.
    void cameraSelectionChanged();
    void recordingTypeChanged();

private:
    template <typename Value>
    bool set(Value& field, Value value, void (CaptureSources::*changed)());
    void setCamera(std::optional<std::string> uniqueID, bool isEnabled);
    void follow();
    void applyContent(const ShareableContent& content);
    [[nodiscard]] std::optional<RecordingConfiguration::Source> source() const;

    DesktopPlatform& platform_;
    std::function<std::optional<std::string>()> preferredDisplayName_;
    std::vector<ShareableDisplay> _availableDisplays;
    std::vector<ShareableWindow> _availableWindows;
    std::vector<CaptureDevice> _availableMicrophones;
    std::vector<CaptureDevice> _availableCameras;
    std::optional<RecordingType> _recordingType;
    std::optional<ShareableDisplay> _selectedDisplay;
    std::optional<ShareableWindow> _selectedWindow;
    std::optional<CGRect> _selectedAreaRect;
    std::optional<std::string> _selectedMicrophoneID;
    std::optional<std::string> _selectedCameraID;
    bool _isCameraEnabled = true;
    bool _isMicrophoneEnabled = true;
    bool _isSystemAudioEnabled = true;

    std::unique_ptr<ContentObservation> contentObservation_;
    std::shared_ptr<void> deviceObservation_;
    SerialQueue queue_{"com.varnelle.sources"};
};

}  // namespace varnelle
