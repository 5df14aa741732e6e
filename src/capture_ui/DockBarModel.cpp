#include "capture_ui/DockBarModel.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "app/SourceRules.h"
#include "capture_ui/AreaSelectionGeometry.h"
#include "capture_ui/PanelPlacement.h"
#include "capture_ui/SourceTexts.h"
#include "recording/DeviceLabel.h"

namespace varnelle {
namespace {

using State = DockBarItem::State;

/// The texts and symbols of a kind of device.
struct DeviceKind {
    QString onIcon;
    QString offIcon;
    QString offLabel;
    QString missingLabel;
    QString disableText;
};

QString labelOf(const std::vector<CaptureDevice>& devices, const CaptureDevice& device) {
    std::vector<std::string> names;
    names.reserve(devices.size());
    for (const CaptureDevice& each : devices) names.push_back(each.localizedName);
    return QString::fromStdString(deviceLabel(names, device.localizedName));
}

DockBarItem::Look lookOf(const DeviceKind& kind, const std::vector<CaptureDevice>& devices,
                         const std::optional<std::string>& selectedID, bool isEnabled) {
    if (devices.empty()) return {kind.offIcon, kind.missingLabel, State::unavailable};
    if (!isEnabled) return {kind.offIcon, kind.offLabel, State::off};
    const auto selected = std::find_if(devices.begin(), devices.end(), [&](const CaptureDevice& device) {
        return device.uniqueID == selectedID;
    });
    return {kind.onIcon, selected == devices.end() ? kind.offLabel : labelOf(devices, *selected), State::on};
}

MenuItem choice(const QString& text, bool isChecked, std::function<void()> action) {
    MenuItem item;
    item.text = text;
    item.isChecked = isChecked;
    item.action = std::move(action);
    return item;
}

std::vector<MenuItem> menuOf(const DeviceKind& kind, const std::vector<CaptureDevice>& devices,
                             const std::optional<std::string>& selectedID, bool isEnabled,
                             const std::function<void()>& disable,
                             const std::function<void(const std::string&)>& choose) {
    std::vector<MenuItem> items{choice(kind.disableText, !isEnabled, disable), MenuItem::separator()};
    for (const CaptureDevice& device : devices) {
        items.push_back(choice(labelOf(devices, device), device.uniqueID == selectedID,
                               [choose, id = device.uniqueID] { choose(id); }));
    }
    return items;
}

}  // namespace

DockBarModel::DockBarModel(AppState& app, AppWindows& windows)
    : app_(app), sources_(app.captureSources()), windows_(windows) {
    connect(&sources_, &CaptureSources::recordingTypeChanged, this, &DockBarModel::updateSourceModes);
    connect(&sources_, &CaptureSources::windowsChanged, this, &DockBarModel::updateWindowMenu);
    connect(&sources_, &CaptureSources::selectionChanged, this, &DockBarModel::updateWindowMenu);
    connect(&sources_, &CaptureSources::devicesChanged, this, &DockBarModel::updateDevices);
    connect(&sources_, &CaptureSources::selectionChanged, this, &DockBarModel::updateDevices);
    makeProgramMenu();
    updateSourceModes();
    updateWindowMenu();
    updateDevices();
}

void DockBarModel::makeProgramMenu() {
    programMenu_.setItems({{.text = tr("Open Project…"), .action = [this] { windows_.chooseProject(); }},
                           {.text = tr("Check for Updates…"),
                            .isEnabled = windows_.canCheckForUpdates(),
                            .action = [this] { windows_.checkForUpdates(); }},
                           MenuItem::separator(),
                           {.text = tr("Quit Varnelle"), .action = [this] { windows_.requestQuit(); }}});
}

void DockBarModel::press(RecordingType type) {
    sources_.updateSelectedDisplay();
    if (sources_.recordingType() == type) {
        sources_.setRecordingType(std::nullopt);
        return;
    }
    const auto display = displayOfPanels(sources_);
    if (type == RecordingType::area && !sources_.selectedAreaRect() && display) {
        sources_.setSelectedAreaRect(
            initialArea(flippedGlobalRect(display->frame, sources_.primaryScreenHeight())));
    }
    sources_.setRecordingType(type);
}

void DockBarModel::dockBarScreenChanged() {
    sources_.updateSelectedDisplay();
}

void DockBarModel::chooseWindow(const ShareableWindow& window) {
    sources_.selectWindow(window.windowID);
    sources_.setRecordingType(RecordingType::window);
    sources_.raiseWindow(window);
}

void DockBarModel::updateSourceModes() {
    const auto show = [this](DockBarItem& item, RecordingType type, const QString& icon,
                             const QString& label) {
        const bool isSelected = sources_.recordingType() == type;
        item.setLook(
            {isSelected ? icon + QLatin1String(".fill") : icon, label, isSelected ? State::on : State::off});
    };
    show(display_, RecordingType::display, "display", tr("Display"));
    show(window_, RecordingType::window, "macwindow", tr("Window"));
    show(area_, RecordingType::area, "crop", tr("Area"));
}

void DockBarModel::updateWindowMenu() {
    MenuItem refresh = choice(tr("Refresh Windows"), false, [this] { app_.refreshCaptureSources(); });
    refresh.icon = "arrow.clockwise";
    std::vector<MenuItem> items{std::move(refresh), MenuItem::separator()};
    const auto& selected = sources_.selectedWindow();
    for (const ShareableWindow& window : sources_.availableWindows()) {
        items.push_back(choice(applicationName(window) + QStringLiteral(" — ") + windowTitle(window),
                               selected && selected->windowID == window.windowID,
                               [this, window] { chooseWindow(window); }));
    }
    if (sources_.availableWindows().empty()) items.push_back(MenuItem::note(tr("No windows found")));
    window_.menu()->setItems(std::move(items));
}

void DockBarModel::updateDevices() {
    updateCamera();
    updateMicrophone();
    updateSystemAudio();
}

void DockBarModel::updateCamera() {
    const DeviceKind kind{"video.fill", "video.slash", tr("Camera"), tr("No Camera"), tr("Disable Camera")};
    const auto& cameras = sources_.availableCameras();
    camera_.setLook(lookOf(kind, cameras, sources_.selectedCameraID(), sources_.isCameraEnabled()));
    const auto disable = [this] { sources_.setCameraEnabled(false); };
    const auto choose = [this](const std::string& id) {
        sources_.selectCamera(id);
        sources_.setCameraEnabled(true);
    };
    camera_.menu()->setItems(
        menuOf(kind, cameras, sources_.selectedCameraID(), sources_.isCameraEnabled(), disable, choose));
}

void DockBarModel::updateMicrophone() {
    const DeviceKind kind{"mic.fill", "mic.slash", tr("Microphone"), tr("No Microphone"),
                          tr("Disable Microphone")};
    const auto& microphones = sources_.availableMicrophones();
    microphone_.setLook(
        lookOf(kind, microphones, sources_.selectedMicrophoneID(), sources_.isMicrophoneEnabled()));
    const auto disable = [this] { sources_.setMicrophoneEnabled(false); };
    const auto choose = [this](const std::string& id) {
        sources_.selectMicrophone(id);
        sources_.setMicrophoneEnabled(true);
    };
    microphone_.menu()->setItems(menuOf(kind, microphones, sources_.selectedMicrophoneID(),
                                        sources_.isMicrophoneEnabled(), disable, choose));
}

void DockBarModel::updateSystemAudio() {
    const bool isOn = sources_.isSystemAudioEnabled();
    systemAudio_.setLook(
        {isOn ? "speaker.wave.2.fill" : "speaker.slash", tr("System audio"), isOn ? State::on : State::off});
    systemAudio_.menu()->setItems(
        {choice(tr("Enable System Audio"), isOn, [this] { sources_.setSystemAudioEnabled(true); }),
         choice(tr("Disable System Audio"), !isOn, [this] { sources_.setSystemAudioEnabled(false); })});
}

}  // namespace varnelle
