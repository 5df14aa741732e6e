#include "editor/EditorModel.h"

#include <QPointer>
#include <algorithm>
#include <utility>

namespace varnelle {
namespace {

/// The track whose clips are cut.
constexpr std::size_t kPrimaryTrack = 0;
const CMTime kAddedZoomPanDuration = CMTime::make(2, 1);

const OverlayConfiguration kNoLook{};

/// The clip to select in place of one that is gone: the clip that lies where it began, or else the last one;
/// of a clip that was cut, the half that begins at the cut. Absent if the clip isn't gone.
std::optional<UUID> successor(const UUID& selectedID, const TimelineTrack& before,
                              const TimelineTrack& after) {
    const auto isSelected = [&](const TimelineClip& clip) { return clip.id == selectedID; };
    const auto gone = std::find_if(before.clips.begin(), before.clips.end(), isSelected);
    if (gone == before.clips.end() || after.clips.empty() ||
        std::any_of(after.clips.begin(), after.clips.end(), isSelected))
        return std::nullopt;
    const bool isCut = after.clips.size() > before.clips.size();
    const auto found = std::find_if(after.clips.begin(), after.clips.end(), [&](const TimelineClip& clip) {
        return isCut ? clip.timelineOffset > gone->timelineOffset
                     : clip.timelineOffset + clip.trimRange.duration > gone->timelineOffset;
    });
    return found == after.clips.end() ? after.clips.back().id : found->id;
}

}  // namespace

EditorModel::EditorModel(AppState& app, PlayerFactory makePlayer, const TimelineCacheDirectory& caches)
    : app_(app), makePlayer_(std::move(makePlayer)), inspector_(*this), cameraOverlay_(*this) {
    connect(&app, &AppState::currentProjectChanged, this, &EditorModel::followProject);
    connect(&app, &AppState::isSavingProjectChanged, this, &EditorModel::isSavingChanged);
    connect(&app, &AppState::isSavingProjectChanged, this, &EditorModel::seedZoomPanClips);
    connect(&app, &AppState::modeChanged, this, &EditorModel::leaveEditor);
    connect(&inspector_, &InspectorModel::audioEdited, this, &EditorModel::commitAudio);
    connect(&cameraOverlay_, &CameraOverlayModel::tapped, this,
            [this] { inspector_.setActiveTab(InspectorModel::SidebarTab::Camera); });
    timeline_.setCaches(std::make_shared<FilmStripCache>(caches), std::make_shared<WaveformCache>(caches));
    connectTimeline();
    followProject();
}

EditorModel::~EditorModel() = default;

QString EditorModel::projectName() const {
    return shownProject_ ? QString::fromStdString(shownProject_->name) : QString();
}

bool EditorModel::canUndo() const {
    return app_.timelineEditor() != nullptr && app_.timelineEditor()->canUndo();
}

bool EditorModel::canRedo() const {
    return app_.timelineEditor() != nullptr && app_.timelineEditor()->canRedo();
}

/// What is being dragged was begun on the present project, which its end would put back in place of another,
/// and with that the steps to redo would be lost.
bool EditorModel::isDragging() const {
    return draftOverlayConfiguration_.has_value() || timeline_.isDragging();
}

void EditorModel::undo() {
    if (isDragging()) return;
    edit([](TimelineEditor& editor) { editor.undo(); });
}

void EditorModel::redo() {
    if (isDragging()) return;
    edit([](TimelineEditor& editor) { editor.redo(); });
}

void EditorModel::rename(const QString& name) {
    const std::string trimmed = name.trimmed().toStdString();
    if (!shownProject_ || trimmed == shownProject_->name) return;
    edit([&](TimelineEditor& editor) {
        Project project = editor.project();
        project.name = trimmed;
        editor.commit(std::move(project));
    });
}

void EditorModel::showExportView() {
    if (hasProject()) app_.showExportView();
}

void EditorModel::save() {
    if (!hasProject() || isSaving()) return;
    emit textEditingShouldEnd();
    runSave();
}

QCoro::Task<> EditorModel::runSave() {
    const QPointer<EditorModel> self = this;
    QString failure;
    try {
        const QCoro::Task<> saving = app_.saveCurrentProject();
        co_await saving;
    } catch (const std::exception& error) {
        failure = QString::fromUtf8(error.what());
    }
    if (self && !failure.isEmpty()) emit saveFailed(failure);
}

// Playback.

void EditorModel::togglePlayback() {
    if (playback_) playback_->togglePlayback();
}

void EditorModel::stepFrames(int count) {
    if (!playback_) return;
    if (playback_->isPlaying()) playback_->togglePlayback();
    const int rate = std::max(shownProject_->recordingSession.frameRate, 1);
    playback_->seek(playback_->currentTime() + CMTime::make(count, rate));
}

void EditorModel::goToStart() {
    timeline_.pressFirstFrame();
}

void EditorModel::goToEnd() {
    timeline_.pressLastFrame();
}

void EditorModel::leaveEditor() {
    if (app_.mode() == AppMode::editing || !playback_) return;
    dropDraft();
    playback_->rest();
}

void EditorModel::dropDraft() {
    wasPlayingBeforeDrag_ = false;
    inspector_.abandonDrags();
    cameraOverlay_.abandonDrag();
    timeline_.cancelDrag();
    if (!std::exchange(draftOverlayConfiguration_, std::nullopt) || !playback_) return;
    playback_->applyOverlayConfiguration(look());
    inspector_.lookHasChanged();
    cameraOverlay_.lookHasChanged();
}

void EditorModel::connectPlayback() {
    EditorPlaybackController& playback = *playback_;
    using Playback = EditorPlaybackController;
    const auto forward = [&](auto changed, auto publish) {
        connect(&playback, changed, this, publish);
        publish();
    };
    forward(&Playback::currentTimeChanged, [this] { timeline_.setCurrentTime(playback_->currentTime()); });
    forward(&Playback::durationChanged, [this] { timeline_.setDuration(playback_->duration()); });
    forward(&Playback::isPlayingChanged, [this] { timeline_.setIsPlaying(playback_->isPlaying()); });
    forward(&Playback::playbackRateChanged, [this] { timeline_.setPlaybackRate(playback_->playbackRate()); });
    forward(&Playback::assetDurationsChanged, [this] { updateAssetDurations(); });
}

// The open project.

void EditorModel::edit(const std::function<void(TimelineEditor&)>& change) {
    app_.editProject(change);
    // A step that leaves the project as it was is one all the same.
    emit historyChanged();
}

void EditorModel::followProject() {
    const std::optional<Project>& project = app_.currentProject();
    if (!project) {
        closeProject();
    } else if (!shownProject_ || shownProject_->id != project->id) {
        openProject(*project);
    } else {
        const Project before = *std::exchange(shownProject_, project);
        applyChanges(before, *project);
    }
    emit projectChanged();
    emit historyChanged();
}

void EditorModel::openProject(const Project& project) {
    closeProject();
    shownProject_ = project;
    playback_ = std::make_unique<EditorPlaybackController>(makePlayer_());
    connectPlayback();
    inspector_.setProject(project);
    inspector_.wallpapers()->showCategoryOfLook();
    inspector_.lookHasChanged();
    cameraOverlay_.setRenderSize(project.recordingSession.renderSize);
    cameraOverlay_.setHasCamera(project.hasCameraRecording());
    cameraOverlay_.lookHasChanged();
    timeline_.setSelectedClipID(project.firstVideoClipID());
    updateTimelineContent();
    emit playbackChanged();
    load(false);
}

void EditorModel::closeProject() {
    dropDraft();
    needsSeeding_ = false;
    furthestEnds_.clear();
    shownProject_.reset();
    if (!playback_) return;
    const std::unique_ptr<EditorPlaybackController> former = std::exchange(playback_, nullptr);
    emit playbackChanged();
    former->teardown(endings_);
}

void EditorModel::applyChanges(const Project& before, const Project& after) {
    const Timeline& now = after.timeline;
    keepSelection(before, after);
    updateTimelineContent();
    inspector_.setProject(after);
    inspector_.lookHasChanged();
    cameraOverlay_.lookHasChanged();
    // Saving gives the files other places; the player goes on with those that it has open.
    if (before.timeline.tracks != now.tracks) {
        load(true);
        return;
    }
    playback_->applyOverlayConfiguration(look());
    playback_->applyAudioConfiguration(now.audioConfiguration);
    if (before.timeline.zoomPanClips != now.zoomPanClips)
        playback_->applyZoomPanClips({now.zoomPanClips.begin(), now.zoomPanClips.end()});
}

QCoro::Task<> EditorModel::load(bool keepingPosition) {
    const QPointer<EditorModel> self = this;
    const QPointer<EditorPlaybackController> controller = playback_.get();
    const QCoro::Task<> loading = playback_->load(*shownProject_, keepingPosition);
    co_await loading;
    if (!self || !controller || controller->loadError() || controller->isLoading()) co_return;
    needsSeeding_ = true;
    seedZoomPanClips();
    const auto& clips = shownProject_->timeline.zoomPanClips;
    playback_->applyZoomPanClips({clips.begin(), clips.end()});
    // What was changed while it was being built.
    playback_->applyOverlayConfiguration(look());
    playback_->applyAudioConfiguration(shownProject_->timeline.audioConfiguration);
}

/// While the project is being saved it takes no proposals either.
void EditorModel::seedZoomPanClips() {
    if (!needsSeeding_ || isSaving()) return;
    needsSeeding_ = false;
    edit([&](TimelineEditor& editor) { editor.seedZoomPanClips(playback_->autoZoomAndPanActiveRanges()); });
}

// The look.

const OverlayConfiguration& EditorModel::look() const {
    if (draftOverlayConfiguration_) return *draftOverlayConfiguration_;
    return shownProject_ ? shownProject_->timeline.overlayConfiguration : kNoLook;
}

void EditorModel::previewLook(OverlayConfiguration look) {
    if (!shownProject_) return;
    look.isInteractivelyEditing = true;
    draftOverlayConfiguration_ = std::move(look);
    playback_->applyOverlayConfiguration(*draftOverlayConfiguration_);
    inspector_.lookHasChanged();
    cameraOverlay_.lookHasChanged();
    emit textEditingShouldEnd();
}

void EditorModel::commitLook(OverlayConfiguration look) {
    if (!shownProject_) return;
    look.isInteractivelyEditing = false;
    draftOverlayConfiguration_.reset();
    playback_->applyOverlayConfiguration(look);
    edit([&](TimelineEditor& editor) {
        Project project = editor.project();
        project.timeline.overlayConfiguration = std::move(look);
        editor.commit(std::move(project));
    });
    // Where the project takes no edits, what it has shows again.
    playback_->applyOverlayConfiguration(this->look());
    inspector_.lookHasChanged();
    cameraOverlay_.lookHasChanged();
    emit textEditingShouldEnd();
}

void EditorModel::beginDrag() {
    wasPlayingBeforeDrag_ = playback_ && playback_->isPlaying();
    if (wasPlayingBeforeDrag_) playback_->togglePlayback();
}

void EditorModel::endDrag() {
    if (std::exchange(wasPlayingBeforeDrag_, false) && playback_ && !playback_->isPlaying())
        playback_->togglePlayback();
}

void EditorModel::commitAudio(const AudioConfiguration& configuration) {
    if (!shownProject_) return;
    edit([&](TimelineEditor& editor) {
        Project project = editor.project();
        project.timeline.audioConfiguration = configuration;
        editor.commit(std::move(project));
    });
    emit textEditingShouldEnd();
}

// The timeline.

/// Sources aren't measured before the first load has ended, after one that failed, and while they have been
/// given other places. Their material reaches as far as clips have taken from it, so until then that is how
/// long they are.
void EditorModel::updateAssetDurations() {
    for (const TimelineTrack& track : shownProject_->timeline.tracks) {
        for (const TimelineClip& clip : track.clips) {
            if (!clip.trimRange.duration.isNumeric()) continue;
            CMTime& end = furthestEnds_.try_emplace(clip.sourceURL, kCMTimeZero).first->second;
            end = std::max(end, clip.trimRange.end());
        }
    }
    std::map<URL, CMTime> durations = furthestEnds_;
    for (const auto& [source, duration] : playback_->assetDurations()) {
        if (duration.isNumeric()) durations[source] = duration;
    }
    timeline_.setAssetDurations(durations);
}

void EditorModel::updateTimelineContent() {
    const Project& project = *shownProject_;
    updateAssetDurations();
    timeline_.setProject(project);
    timeline_.setZoomPanClips(project.timeline.zoomPanClips);
    const auto isThere = [&](const std::optional<UUID>& id) {
        const auto& clips = project.timeline.zoomPanClips;
        return id && std::any_of(clips.begin(), clips.end(),
                                 [&](const TimelineZoomPanClip& clip) { return clip.id == *id; });
    };
    if (!isThere(timeline_.selectedZoomPanClipID())) timeline_.setSelectedZoomPanClipID(std::nullopt);
    if (timeline_.selectedClipID() && !project.containsClip(timeline_.selectedClipID()))
        timeline_.setSelectedClipID(project.firstVideoClipID());
    const TimelineTrack* track = project.videoTrack();
    timeline_.setCanDeleteClip(timeline_.selectedClipID() && track != nullptr && track->clips.size() > 1);
    timeline_.setCanDeleteZoomPanClip(timeline_.selectedZoomPanClipID().has_value());
}

/// A selected clip that is gone leaves the selection to what lies in its place.
void EditorModel::keepSelection(const Project& before, const Project& after) {
    const TimelineTrack* trackBefore = before.videoTrack();
    const TimelineTrack* trackAfter = after.videoTrack();
    if (!timeline_.selectedClipID() || trackBefore == nullptr || trackAfter == nullptr) return;
    const auto clipID = successor(*timeline_.selectedClipID(), *trackBefore, *trackAfter);
    if (clipID) timeline_.setSelectedClipID(clipID);
}

void EditorModel::connectTimeline() {
    const auto edits = [this](auto signal, auto change) {
        connect(&timeline_, signal, this, [this, change](const auto&... arguments) {
            edit([&](TimelineEditor& editor) { change(editor, arguments...); });
        });
    };
    connect(&timeline_, &TimelineModel::togglePlayback, this, &EditorModel::togglePlayback);
    connect(&timeline_, &TimelineModel::seek, this, [this](const CMTime& time) {
        if (playback_) playback_->seek(time);
    });
    connect(&timeline_, &TimelineModel::scrub, this, [this](const std::optional<CMTime>& time) {
        if (playback_) playback_->scrub(time);
    });
    connect(&timeline_, &TimelineModel::playbackRateChange, this, [this](float rate) {
        if (playback_) playback_->setPlaybackRate(rate);
    });
    connect(&timeline_, &TimelineModel::selectionChanged, this, [this] {
        if (shownProject_) updateTimelineContent();
    });
    edits(&TimelineModel::splitClip, [](TimelineEditor& editor, const UUID& clipID, const CMTime& offset) {
        editor.splitClip(clipID, kPrimaryTrack, offset);
    });
    edits(&TimelineModel::addZoomPanClip, [](TimelineEditor& editor, const CMTime& requestedStart) {
        const CMTime latestStart = editor.project().totalDuration() - kAddedZoomPanDuration;
        const CMTime start = std::min(requestedStart, std::max(kCMTimeZero, latestStart));
        editor.addZoomPanClip({start, kAddedZoomPanDuration});
    });
    edits(&TimelineModel::trim, [](TimelineEditor& editor, const UUID& clipID, const CMTime& start,
                                   const CMTime& duration, const CMTime& assetDuration) {
        editor.trimClip(clipID, kPrimaryTrack, start, duration,
                        assetDuration.isNumeric() ? std::optional(assetDuration) : std::nullopt);
    });
    edits(&TimelineModel::trimZoomPanClip, [](TimelineEditor& editor, const UUID& clipID, const CMTime& start,
                                              const CMTime& duration, const CMTime& timelineDuration) {
        editor.trimZoomPanClip(clipID, start, duration, timelineDuration);
    });
    edits(&TimelineModel::moveZoomPanClip, [](TimelineEditor& editor, const UUID& clipID, double startSeconds,
                                              const CMTime& timelineDuration) {
        editor.moveZoomPanClip(clipID, timelineDuration, startSeconds);
    });
    edits(&TimelineModel::deleteClip, [this](TimelineEditor& editor) {
        if (timeline_.selectedClipID()) editor.deleteClip(*timeline_.selectedClipID(), kPrimaryTrack);
    });
    edits(&TimelineModel::deleteZoomPanClip, [this](TimelineEditor& editor) {
        if (timeline_.selectedZoomPanClipID()) editor.deleteZoomPanClip(*timeline_.selectedZoomPanClipID());
    });
}

}  // namespace varnelle
