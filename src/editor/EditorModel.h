#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "app/AppState.h"
#include "editor/CameraOverlayModel.h"
#include "editor/EditorPlaybackController.h"
#include "editor/InspectorModel.h"
#include "editor/TimelineModel.h"

namespace varnelle {

/// The editor of the open project: brings together preview, timeline, inspector and toolbar, and turns what
/// the user does there into edits. Every change of the project, whoever made it, comes back through
/// `AppState::currentProjectChanged` and reaches the player as little work as it needs: a build for other
/// clips, a redraw for another look or other zoom ranges, a mix for other sound. Main thread.
class EditorModel : public QObject, private LookEditing {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the main window")
    Q_PROPERTY(bool hasProject READ hasProject NOTIFY projectChanged)
    /// As in the name field: empty if it has none.
    Q_PROPERTY(QString projectName READ projectName NOTIFY projectChanged)
    Q_PROPERTY(bool canUndo READ canUndo NOTIFY historyChanged)
    Q_PROPERTY(bool canRedo READ canRedo NOTIFY historyChanged)
    Q_PROPERTY(bool isSaving READ isSaving NOTIFY isSavingChanged)
    /// Null without a project.
    Q_PROPERTY(varnelle::EditorPlaybackController* playback READ playback NOTIFY playbackChanged)
    Q_PROPERTY(varnelle::TimelineModel* timeline READ timeline CONSTANT)
    Q_PROPERTY(varnelle::InspectorModel* inspector READ inspector CONSTANT)
    Q_PROPERTY(varnelle::CameraOverlayModel* cameraOverlay READ cameraOverlay CONSTANT)

public:
    using PlayerFactory = std::function<std::unique_ptr<PlayerControls>()>;

    /// `app` must outlive the object. `makePlayer` is called for each project that is opened; `caches` is
    /// where the timeline's pictures and waveforms are kept.
    EditorModel(AppState& app, PlayerFactory makePlayer,
                const TimelineCacheDirectory& caches = TimelineCacheDirectory());
    ~EditorModel() override;

    [[nodiscard]] bool hasProject() const { return shownProject_.has_value(); }
    [[nodiscard]] QString projectName() const;
    [[nodiscard]] bool canUndo() const;
    [[nodiscard]] bool canRedo() const;
    [[nodiscard]] bool isSaving() const { return app_.isSavingProject(); }
    [[nodiscard]] EditorPlaybackController* playback() { return playback_.get(); }
    [[nodiscard]] TimelineModel* timeline() { return &timeline_; }
    [[nodiscard]] InspectorModel* inspector() { return &inspector_; }
    [[nodiscard]] CameraOverlayModel* cameraOverlay() { return &cameraOverlay_; }

    /// These do nothing while something is being dragged.
    Q_INVOKABLE void undo();
    Q_INVOKABLE void redo();
    /// One undo step, unless the name is the present one.
    Q_INVOKABLE void rename(const QString& name);
    Q_INVOKABLE void newRecording() { app_.requestProjectTransition(NewRecording{}); }
    Q_INVOKABLE void showExportView();
    Q_INVOKABLE void save();

    Q_INVOKABLE void togglePlayback();
    /// One frame of the recording's rate forwards or back, and to an end.
    Q_INVOKABLE void stepFrames(int count);
    Q_INVOKABLE void goToStart();
    Q_INVOKABLE void goToEnd();

signals:
    void projectChanged();
    void historyChanged();
    void isSavingChanged();
    void playbackChanged();
    /// The keyboard goes elsewhere, and with it the editing of a text, which is committed.
    void textEditingShouldEnd();
    /// Saving failed, for the user to read.
    void saveFailed(const QString& message);

private:
    // LookEditing
    [[nodiscard]] const OverlayConfiguration& look() const override;
    void previewLook(OverlayConfiguration look) override;
    void commitLook(OverlayConfiguration look) override;
    void beginDrag() override;
    void endDrag() override;

    void connectTimeline();
    void connectPlayback();
    void edit(const std::function<void(TimelineEditor&)>& change);
    void commitAudio(const AudioConfiguration& configuration);
    void followProject();
    void openProject(const Project& project);
    void closeProject();
    void applyChanges(const Project& before, const Project& after);
    QCoro::Task<> load(bool keepingPosition);
    QCoro::Task<> runSave();
    [[nodiscard]] bool isDragging() const;
    void leaveEditor();
    void dropDraft();
    void seedZoomPanClips();
    void updateAssetDurations();
    void keepSelection(const Project& before, const Project& after);
    void updateTimelineContent();

    AppState& app_;
    const PlayerFactory makePlayer_;
    std::optional<Project> shownProject_;
    /// The value being edited; present only while it is.
    std::optional<OverlayConfiguration> draftOverlayConfiguration_;
    bool wasPlayingBeforeDrag_ = false;
    /// Up to where the clips of the open project have taken from each source so far.
    std::map<URL, CMTime> furthestEnds_;
    bool needsSeeding_ = false;  ///< a composition has been loaded whose ranges weren't proposed yet
    /// Where the playback of projects that were closed ends, before this object does.
    SerialQueue endings_{"com.varnelle.editor.end"};
    std::unique_ptr<EditorPlaybackController> playback_;
    TimelineModel timeline_;
    InspectorModel inspector_;
    CameraOverlayModel cameraOverlay_;
};

}  // namespace varnelle
