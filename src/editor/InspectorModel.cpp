#include "editor/InspectorModel.h"

#include <fmt/format.h>

#include <algorithm>

namespace varnelle {
namespace {

constexpr const char* kBoth =
    "Both system sound and microphone audio are available. "
    "Turning either switch off removes that source from the final video.";

QString pixelsText(double value) {
    return QString::fromStdString(fmt::format("{:.0f} px", value));
}

QString factorText(double value) {
    return QString::fromStdString(fmt::format("{:.1f}x", value));
}

template <typename Value>
auto field(Value OverlayConfiguration::*member) {
    return [member](OverlayConfiguration& look) -> Value& { return look.*member; };
}

template <typename Value>
auto field(Value CursorConfiguration::*member) {
    return [member](OverlayConfiguration& look) -> Value& { return look.cursor.*member; };
}

using Look = OverlayConfiguration;
using Cursor = CursorConfiguration;

std::vector<InspectorToggleRule> cursorToggleRules() {
    return {{"Show Cursor", "cursorarrow", {}, field(&Cursor::showsCursor)},
            {"Disable Zoom & Pan", "viewfinder", "Prevent the camera from following the cursor and zooming.",
             field(&Cursor::zoomAndPanDisabled)}};
}

std::vector<InspectorSliderRule> cursorSliderRules() {
    return {
        {"Cursor Size", "arrow.up.left.and.arrow.down.right", 1, 10, 3.2, field(&Cursor::size), factorText}};
}

std::vector<InspectorSliderRule> backgroundSliderRules() {
    return {{"Padding", "arrow.down.left.and.arrow.up.right", 0, 220, 72, field(&Look::canvasPadding),
             pixelsText},
            {"Roundness", "squareshape", 0, 80, 22, field(&Look::canvasCornerRadius), pixelsText},
            {"Shadow", "moon.stars", 0, 0.8, 0.28, field(&Look::canvasShadowOpacity), percentText},
            {"Shadow Softness", "sun.max", 6, 60, 26, field(&Look::canvasShadowRadius), pixelsText}};
}

std::vector<InspectorToggleRule> cameraToggleRules() {
    return {{"Show Camera Overlay", "person.crop.circle", "Display the camera bubble in the final recording.",
             field(&Look::showsCamera)},
            {"Mirror",
             "arrow.left.and.right.righttriangle.left.righttriangle.right",
             {},
             field(&Look::isMirrored)}};
}

std::vector<InspectorSliderRule> cameraSliderRules() {
    return {{"Size", "arrow.up.left.and.arrow.down.right", 0.65, 2.4, 1, field(&Look::scale), percentText},
            {"Roundness", "square.on.circle", 0.08, 0.5, 0.22, field(&Look::cornerRadiusRatio), percentText},
            {"Shadow", "moon.stars", 0, 0.8, 0.38, field(&Look::overlayShadowOpacity), percentText},
            {"Shadow Softness", "sun.max", 6, 60, 28, field(&Look::overlayShadowRadius), pixelsText}};
}

}  // namespace

InspectorModel::InspectorModel(LookEditing& editing, QObject* parent)
    : QObject(parent),
      editing_(editing),
      wallpapers_(editing),
      cursorToggles_(toggles(cursorToggleRules())),
      cursorSliders_(sliders(cursorSliderRules())),
      backgroundSliders_(sliders(backgroundSliderRules())),
      cameraToggles_(toggles(cameraToggleRules())),
      cameraSliders_(sliders(cameraSliderRules())) {}

QVariantList InspectorModel::sliders(const std::vector<InspectorSliderRule>& rules) {
    QVariantList result;
    for (const InspectorSliderRule& rule : rules) {
        allSliders_.push_back(new InspectorSlider(rule, editing_, this));
        result.append(QVariant::fromValue(allSliders_.back()));
    }
    return result;
}

QVariantList InspectorModel::toggles(const std::vector<InspectorToggleRule>& rules) {
    QVariantList result;
    for (const InspectorToggleRule& rule : rules) {
        allToggles_.push_back(new InspectorToggle(rule, editing_, this));
        result.append(QVariant::fromValue(allToggles_.back()));
    }
    return result;
}

void InspectorModel::setProject(const Project& project) {
    const RecordingSession& session = project.recordingSession;
    const auto has = [&](RecordedAudioSource source) {
        const auto& sources = session.availableAudioSources;
        return std::find(sources.begin(), sources.end(), source) != sources.end();
    };
    hasCursorData_ = session.cursorRecordingURL.has_value();
    hasCamera_ = project.hasCameraRecording();
    hasSystemAudio_ = has(RecordedAudioSource::system);
    hasMicrophoneAudio_ = has(RecordedAudioSource::microphone);
    emit recordingChanged();
    audio_ = project.timeline.audioConfiguration;
    emit audioChanged();
}

void InspectorModel::lookHasChanged() {
    for (InspectorSlider* slider : allSliders_) slider->update();
    for (InspectorToggle* toggle : allToggles_) toggle->update();
    wallpapers_.update();
    emit lookChanged();
}

void InspectorModel::abandonDrags() {
    for (InspectorSlider* slider : allSliders_) slider->abandonDrag();
}

void InspectorModel::setActiveTab(SidebarTab tab) {
    if (activeTab_ == tab) return;
    activeTab_ = tab;
    emit activeTabChanged();
}

QVariantList InspectorModel::tabs() {
    const auto tab = [](const char* title, const char* symbol) {
        return QVariantMap{{"title", title}, {"symbol", symbol}};
    };
    return {tab("Cursor", "cursorarrow"), tab("Background", "square.grid.2x2"),
            tab("Camera", "person.crop.circle"), tab("Audio", "speaker.wave.2")};
}

QString InspectorModel::systemSoundDescription() const {
    return hasSystemAudio_ ? "Keep captured Mac audio in the video."
                           : "No system audio track was recorded in this session.";
}

QString InspectorModel::microphoneDescription() const {
    return hasMicrophoneAudio_ ? "Keep microphone narration in the video."
                               : "No microphone track was recorded in this session.";
}

QString InspectorModel::audioNote() const {
    if (hasSystemAudio_ && hasMicrophoneAudio_) return kBoth;
    if (hasSystemAudio_) return "System sound is available for this recording.";
    if (hasMicrophoneAudio_) return "Microphone audio is available for this recording.";
    return "No audio sources are available for this recording.";
}

void InspectorModel::resetPosition() {
    OverlayConfiguration look = editing_.look();
    look.position.reset();
    editing_.commitLook(std::move(look));
}

void InspectorModel::toggleSystemSound() {
    AudioConfiguration audio = audio_;
    audio.includesSystemSound = !audio.includesSystemSound;
    emit audioEdited(audio);
}

void InspectorModel::toggleMicrophone() {
    AudioConfiguration audio = audio_;
    audio.includesMicrophone = !audio.includesMicrophone;
    emit audioEdited(audio);
}

}  // namespace varnelle
