#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <vector>

#include "editor/InspectorRows.h"
#include "editor/WallpaperGridModel.h"
#include "model/AudioModels.h"
#include "model/Project.h"

namespace varnelle {

/// The editor's sidebar: four tabs of rows that show and change the look and the sound of the open project.
/// Main thread.
class InspectorModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the editor")
    Q_PROPERTY(SidebarTab activeTab READ activeTab WRITE setActiveTab NOTIFY activeTabChanged)
    Q_PROPERTY(QVariantList tabs READ tabs CONSTANT)
    Q_PROPERTY(bool hasCursorData READ hasCursorData NOTIFY recordingChanged)
    Q_PROPERTY(bool hasCamera READ hasCamera NOTIFY recordingChanged)
    Q_PROPERTY(QVariantList cursorToggles READ cursorToggles CONSTANT)
    Q_PROPERTY(QVariantList cursorSliders READ cursorSliders CONSTANT)
    Q_PROPERTY(QVariantList backgroundSliders READ backgroundSliders CONSTANT)
    Q_PROPERTY(varnelle::WallpaperGridModel* wallpapers READ wallpapers CONSTANT)
    Q_PROPERTY(QVariantList cameraToggles READ cameraToggles CONSTANT)
    Q_PROPERTY(QVariantList cameraSliders READ cameraSliders CONSTANT)
    Q_PROPERTY(bool hasPosition READ hasPosition NOTIFY lookChanged)
    Q_PROPERTY(bool hasSystemAudio READ hasSystemAudio NOTIFY recordingChanged)
    Q_PROPERTY(bool hasMicrophoneAudio READ hasMicrophoneAudio NOTIFY recordingChanged)
    Q_PROPERTY(bool includesSystemSound READ includesSystemSound NOTIFY audioChanged)
    Q_PROPERTY(bool includesMicrophone READ includesMicrophone NOTIFY audioChanged)
    Q_PROPERTY(QString systemSoundDescription READ systemSoundDescription NOTIFY recordingChanged)
    Q_PROPERTY(QString microphoneDescription READ microphoneDescription NOTIFY recordingChanged)
    Q_PROPERTY(QString audioNote READ audioNote NOTIFY recordingChanged)

public:
    // Capitals, without which QML doesn't see them.
    enum class SidebarTab { Cursor, Background, Camera, Audio };
    Q_ENUM(SidebarTab)

    /// `editing` must outlive the object.
    explicit InspectorModel(LookEditing& editing, QObject* parent = nullptr);

    /// What the editor tells: the open project, and that the look has changed.
    void setProject(const Project& project);
    void lookHasChanged();
    void abandonDrags();

    [[nodiscard]] SidebarTab activeTab() const { return activeTab_; }
    void setActiveTab(SidebarTab tab);
    /// Of each tab its "title" and "symbol".
    [[nodiscard]] static QVariantList tabs();
    [[nodiscard]] bool hasCursorData() const { return hasCursorData_; }
    [[nodiscard]] bool hasCamera() const { return hasCamera_; }
    [[nodiscard]] const QVariantList& cursorToggles() const { return cursorToggles_; }
    [[nodiscard]] const QVariantList& cursorSliders() const { return cursorSliders_; }
    [[nodiscard]] const QVariantList& backgroundSliders() const { return backgroundSliders_; }
    [[nodiscard]] WallpaperGridModel* wallpapers() { return &wallpapers_; }
    [[nodiscard]] const QVariantList& cameraToggles() const { return cameraToggles_; }
    [[nodiscard]] const QVariantList& cameraSliders() const { return cameraSliders_; }
    /// The bubble was dragged, rather than lying in its corner.
    [[nodiscard]] bool hasPosition() const { return editing_.look().position.has_value(); }
    [[nodiscard]] bool hasSystemAudio() const { return hasSystemAudio_; }
    [[nodiscard]] bool hasMicrophoneAudio() const { return hasMicrophoneAudio_; }
    [[nodiscard]] bool includesSystemSound() const { return audio_.includesSystemSound; }
    [[nodiscard]] bool includesMicrophone() const { return audio_.includesMicrophone; }
    [[nodiscard]] QString systemSoundDescription() const;
    [[nodiscard]] QString microphoneDescription() const;
    [[nodiscard]] QString audioNote() const;

    Q_INVOKABLE void resetPosition();
    Q_INVOKABLE void toggleSystemSound();
    Q_INVOKABLE void toggleMicrophone();

signals:
    void activeTabChanged();
    void recordingChanged();
    void lookChanged();
    void audioChanged();
    /// The user switched a source on or off.
    void audioEdited(const varnelle::AudioConfiguration& configuration);

private:
    QVariantList sliders(const std::vector<InspectorSliderRule>& rules);
    QVariantList toggles(const std::vector<InspectorToggleRule>& rules);

    LookEditing& editing_;
    SidebarTab activeTab_ = SidebarTab::Cursor;
    bool hasCursorData_ = false;
    bool hasCamera_ = false;
    bool hasSystemAudio_ = false;
    bool hasMicrophoneAudio_ = false;
    AudioConfiguration audio_;
    WallpaperGridModel wallpapers_;
    std::vector<InspectorSlider*> allSliders_;  ///< children of this
    std::vector<InspectorToggle*> allToggles_;
    QVariantList cursorToggles_;
    QVariantList cursorSliders_;
    QVariantList backgroundSliders_;
    QVariantList cameraToggles_;
    QVariantList cameraSliders_;
};

}  // namespace varnelle
