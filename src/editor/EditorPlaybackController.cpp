#include "editor/EditorPlaybackController.h"

#include <QPointer>
#include <algorithm>
#include <exception>
#include <mutex>
#include <set>
#include <utility>

#include "editor/PreviewFrames.h"
#include "foundation/Log.h"
#include "media/MediaAsset.h"
#include "render/AudioMixBuilder.h"
#include "tasks/Completion.h"

namespace varnelle {
namespace {

/// Of sound tracks that no known source was recorded to.
constexpr float kOtherVolume = 1;
constexpr std::chrono::milliseconds kTimeInterval{50};

/// A build that nobody waits for any more.
struct BuildOvertaken : std::exception {};

std::string describe(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        return error.what();
    }
}

std::vector<CMTimeRange> rangesOf(const std::vector<TimelineZoomPanClip>& clips) {
    std::vector<CMTimeRange> ranges;
    ranges.reserve(clips.size());
    for (const TimelineZoomPanClip& clip : clips) ranges.push_back(clip.timeRange);
    return ranges;
}

}  // namespace

class EditorPlaybackController::Door {
public:
    explicit Door(EditorPlaybackController* controller) : controller_(controller) {}

    /// Has the main thread call a block, unless the door is shut before it does. Any thread.
    template <typename Block>
    void post(Block block) {
        const std::lock_guard lock(mutex_);
        if (controller_ == nullptr) return;
        QMetaObject::invokeMethod(
            controller_,
            [controller = controller_, block = std::move(block)] {
                if (controller->player_) block();
            },
            Qt::QueuedConnection);
    }
    void shut() {
        const std::lock_guard lock(mutex_);
        controller_ = nullptr;
    }

private:
    std::mutex mutex_;
    EditorPlaybackController* controller_;  // guarded by mutex_
};

struct EditorPlaybackController::Remains {
    std::shared_ptr<const PlayerItem> item;
    std::shared_ptr<PreviewFrames> previewFrames;
    std::unique_ptr<SerialQueue> buildQueue;
    std::unique_ptr<PlayerControls> player;
};

EditorPlaybackController::EditorPlaybackController(std::unique_ptr<PlayerControls> player, QObject* parent)
    : QObject(parent),
      door_(std::make_shared<Door>(this)),
      previewFrames_(std::make_shared<PreviewFrames>()),
      player_(std::move(player)),
      buildQueue_(std::make_unique<SerialQueue>("com.varnelle.editor.build")) {
    observePlayer();
}

EditorPlaybackController::~EditorPlaybackController() {
    teardown();
}

template <typename Value>
void EditorPlaybackController::set(Value& field, Value value, void (EditorPlaybackController::*changed)()) {
    if (field == value) return;
    field = std::move(value);
    emit(this->*changed)();
}

/// The player calls on a thread of its own, as long as it lives, which may be longer than this object.
void EditorPlaybackController::observePlayer() {
    const auto onMain = [door = door_](auto block) { door->post(std::move(block)); };
    PlayerControls::Handlers handlers;
    handlers.timeInterval = kTimeInterval;
    handlers.onFrame = [frames = previewFrames_](const PlayerFrame& frame) { frames->put(frame.picture); };
    handlers.onTime = [this, onMain](const CMTime& time) { onMain([this, time] { playerReached(time); }); };
    handlers.onStatusChange = [this, onMain] {
        onMain([this] {
            // A new item is paused until its frame is there, which is no news to anybody.
            if (_isLoading && playsAfterLoad_) return;
            set(_isPlaying, player_->isPlaying(), &EditorPlaybackController::isPlayingChanged);
        });
    };
    handlers.onEnd = [this, onMain](const std::shared_ptr<const PlayerItem>& item) {
        onMain([this, item] { playerEnded(item); });
    };
    handlers.onFailure = [this, onMain](const std::shared_ptr<const PlayerItem>& item,
                                        const std::exception_ptr& failure) {
        onMain([this, item, text = describe(failure)] { playerFailed(item, text); });
    };
    player_->setHandlers(std::move(handlers));
}

void EditorPlaybackController::playerReached(const CMTime& time) {
    if (_isSkimming || isSeeking_) return;
    set(_currentTime, clampedToDuration(time), &EditorPlaybackController::currentTimeChanged);
}

void EditorPlaybackController::playerEnded(const std::shared_ptr<const PlayerItem>& item) {
    // Meanwhile there may be another item, or somebody may have gone elsewhere.
    if (item != item_ || isSeeking_ || player_->isPlaying()) return;
    set(_isPlaying, false, &EditorPlaybackController::isPlayingChanged);
    set(_currentTime, _duration, &EditorPlaybackController::currentTimeChanged);
}

void EditorPlaybackController::playerFailed(const std::shared_ptr<const PlayerItem>& item,
                                            const std::string& description) {
    if (item != item_) return;
    logger(LogCategory::app).error("The preview can't go on: {}", description);
    set(_loadError, std::optional(description), &EditorPlaybackController::loadErrorChanged);
}

QCoro::Task<> EditorPlaybackController::load(Project project, bool keepingPosition) {
    if (!player_) co_return;
    const QPointer<EditorPlaybackController> self(this);
    const int generation = ++loadGeneration_;
    *newestBuild_ = generation;
    playsAfterLoad_ = _isPlaying || (_isLoading && playsAfterLoad_);
    lateChanges_ = {};
    set(_isLoading, true, &EditorPlaybackController::isLoadingChanged);
    set(_loadError, std::optional<std::string>(), &EditorPlaybackController::loadErrorChanged);
    player_->cancelPendingSeeks();
    CMTime resume = keepingPosition ? _currentTime : kCMTimeZero;
    const int seeksBefore = seekGeneration_;

    // GCC 12 destroys the captures of a lambda twice if the lambda is made inside an awaiting expression (its
    // bug 99576), here and below; so what is awaited has names.
    const Completion<BuiltComposition> building =
        resultOn(*buildQueue_, [project, generation, newest = newestBuild_] {
            if (*newest != generation) throw BuildOvertaken();
            return build(project);
        });
    std::optional<BuiltComposition> built;
    std::string failure;
    try {
        built = co_await building;
    } catch (const std::exception& error) {
        failure = error.what();
    }
    if (!self || !isCurrentLoad(generation)) co_return;
    if (!built) {
        failLoad(failure);
        co_return;
    }
    // Somebody has gone elsewhere since the load began.
    if (keepingPosition && seekGeneration_ != seeksBefore) resume = _currentTime;
    publish(*built, project);
    player_->replaceCurrentItem(item_);
    set(_currentTime, clampedToDuration(resume), &EditorPlaybackController::currentTimeChanged);
    const int seek = ++seekGeneration_;
    isSeeking_ = true;
    const Completion<void> seeking =
        completionOf([this](auto done) { player_->seek(_currentTime, [done](bool) { done(nullptr); }); });
    co_await seeking;
    if (!self || !player_) co_return;
    if (seek == seekGeneration_) isSeeking_ = false;
    if (!isCurrentLoad(generation)) co_return;
    startOrRest();
    set(_isLoading, false, &EditorPlaybackController::isLoadingChanged);
}

EditorPlaybackController::BuiltComposition EditorPlaybackController::build(const Project& project) {
    BuiltComposition built;
    built.result = VideoCompositor::buildComposition(project);
    // Most sources have just been opened for the composition.
    for (const CompositionTrack& track : built.result.composition->tracks()) {
        for (const CompositionSegment& segment : track.segments()) {
            built.assetDurations.emplace(segment.asset->url(), segment.asset->duration());
        }
    }
    std::set<URL> sources;
    for (const TimelineTrack& track : project.timeline.tracks) {
        for (const TimelineClip& clip : track.clips) sources.insert(clip.sourceURL);
    }
    std::map<URL, CMTime> durations;
    for (const URL& source : sources) {
        const auto known = built.assetDurations.find(source);
        durations[source] =
            known != built.assetDurations.end() ? known->second : MediaAsset(source).duration();
    }
    built.assetDurations = std::move(durations);
    return built;
}

void EditorPlaybackController::publish(const BuiltComposition& built, const Project& project) {
    const CompositionResult& result = built.result;
    overlayController_ = result.overlayController;
    zoomPanClipsController_ = result.zoomPanClipsController;
    if (lateChanges_.overlay) overlayController_->setConfiguration(*lateChanges_.overlay);
    if (lateChanges_.zoomPanRanges) zoomPanClipsController_->replaceRanges(*lateChanges_.zoomPanRanges);
    audioRouting_ =
        AudioTrackRouting::pairing(result.audioTrackIDs, project.recordingSession.availableAudioSources);
    appliedAudioConfiguration_ = lateChanges_.audio.value_or(project.timeline.audioConfiguration);
    item_ = std::make_shared<const PlayerItem>(
        PlayerItem{result.composition, result.videoComposition,
                   audioMix(audioRouting_, appliedAudioConfiguration_, kOtherVolume)});
    set(_assetDurations, built.assetDurations, &EditorPlaybackController::assetDurationsChanged);
    set(_duration, result.duration, &EditorPlaybackController::durationChanged);
    set(_previewAspectRatio, result.renderSize.width / std::max(result.renderSize.height, 1.0),
        &EditorPlaybackController::previewAspectRatioChanged);
    set(_autoZoomAndPanActiveRanges, result.autoZoomAndPanActiveRanges,
        &EditorPlaybackController::autoZoomAndPanActiveRangesChanged);
}

void EditorPlaybackController::failLoad(const std::string& description) {
    logger(LogCategory::app).error("The project can't be played: {}", description);
    player_->pause();
    player_->replaceCurrentItem(nullptr);
    item_ = nullptr;
    previewFrames_->clear();
    overlayController_ = nullptr;
    zoomPanClipsController_ = nullptr;
    set(_assetDurations, {}, &EditorPlaybackController::assetDurationsChanged);
    set(_autoZoomAndPanActiveRanges, {}, &EditorPlaybackController::autoZoomAndPanActiveRangesChanged);
    set(_currentTime, kCMTimeZero, &EditorPlaybackController::currentTimeChanged);
    set(_duration, kCMTimeZero, &EditorPlaybackController::durationChanged);
    set(_isPlaying, false, &EditorPlaybackController::isPlayingChanged);
    set(_isLoading, false, &EditorPlaybackController::isLoadingChanged);
    set(_loadError, std::optional(description), &EditorPlaybackController::loadErrorChanged);
}

/// The end of a load: the first one plays if it may, another goes on as it was.
void EditorPlaybackController::startOrRest() {
    const bool plays = std::exchange(playsByItself_, false) || playsAfterLoad_;
    if (plays) {
        player_->setRate(_playbackRate);
        player_->play();
    } else {
        player_->pause();
    }
    set(_isPlaying, plays, &EditorPlaybackController::isPlayingChanged);
}

void EditorPlaybackController::togglePlayback() {
    if (!item_ || !player_) return;
    playsAfterLoad_ = !_isPlaying;
    if (_isPlaying) {
        player_->cancelPendingSeeks();
        player_->pause();
    } else {
        if (_currentTime >= _duration) goTo(kCMTimeZero);
        player_->setRate(_playbackRate);
        player_->play();
    }
    set(_isPlaying, !_isPlaying, &EditorPlaybackController::isPlayingChanged);
}

void EditorPlaybackController::rest() {
    if (_isPlaying) togglePlayback();
    playsByItself_ = false;
    playsAfterLoad_ = false;
}

void EditorPlaybackController::seek(const CMTime& time) {
    goTo(time);
}

void EditorPlaybackController::scrub(const std::optional<CMTime>& time) {
    set(_isSkimming, time.has_value(), &EditorPlaybackController::isSkimmingChanged);
    if (time) {
        goTo(*time);
    } else if (!_isPlaying) {
        seek(_currentTime);
    }
}

void EditorPlaybackController::goTo(const CMTime& time) {
    if (!player_) return;
    set(_currentTime, clampedToDuration(time), &EditorPlaybackController::currentTimeChanged);
    const int generation = ++seekGeneration_;
    isSeeking_ = true;
    player_->seek(_currentTime, [this, door = door_, generation](bool isFinished) {
        door->post([this, generation, isFinished] { seekEnded(generation, isFinished); });
    });
}

void EditorPlaybackController::seekEnded(int generation, bool isFinished) {
    if (generation != seekGeneration_) return;
    isSeeking_ = false;
    // There is a frame again, so what failed was another one.
    if (isFinished)
        set(_loadError, std::optional<std::string>(), &EditorPlaybackController::loadErrorChanged);
    if (_isPlaying) player_->setRate(_playbackRate);
}

void EditorPlaybackController::setPlaybackRate(float rate) {
    set(_playbackRate, rate, &EditorPlaybackController::playbackRateChanged);
    if (_isPlaying && player_) player_->setRate(rate);
}

void EditorPlaybackController::applyOverlayConfiguration(const OverlayConfiguration& configuration) {
    if (_isLoading) lateChanges_.overlay = configuration;
    if (!overlayController_ || !player_) return;
    const OverlayConfiguration before = overlayController_->configuration();
    overlayController_->setConfiguration(configuration);
    if (!(before == configuration)) player_->redraw();
}

void EditorPlaybackController::applyZoomPanClips(const std::vector<TimelineZoomPanClip>& clips) {
    const std::vector<CMTimeRange> ranges = rangesOf(clips);
    if (_isLoading) lateChanges_.zoomPanRanges = ranges;
    if (!zoomPanClipsController_ || !player_) return;
    zoomPanClipsController_->replaceRanges(ranges);
    player_->redraw();
}

void EditorPlaybackController::applyAudioConfiguration(const AudioConfiguration& configuration) {
    if (_isLoading) lateChanges_.audio = configuration;
    if (!item_ || !player_ || configuration == appliedAudioConfiguration_) return;
    player_->setAudioMix(audioMix(audioRouting_, configuration, kOtherVolume));
    appliedAudioConfiguration_ = configuration;
}

void EditorPlaybackController::setPreviewSize(QSize pixels) {
    if (player_)
        player_->setRenderSize({static_cast<double>(pixels.width()), static_cast<double>(pixels.height())});
}

void EditorPlaybackController::teardown() {
    leave().reset();
}

void EditorPlaybackController::teardown(SerialQueue& queue) {
    // What is before it on the queue may take its time.
    if (player_) player_->replaceCurrentItem(nullptr);
    queue.async([remains = leave()]() mutable { remains.reset(); });
}

std::shared_ptr<EditorPlaybackController::Remains> EditorPlaybackController::leave() {
    ++loadGeneration_;
    ++seekGeneration_;
    *newestBuild_ = loadGeneration_;
    door_->shut();
    return std::make_shared<Remains>(
        Remains{std::exchange(item_, nullptr), previewFrames_, std::move(buildQueue_), std::move(player_)});
}

CMTime EditorPlaybackController::clampedToDuration(const CMTime& time) const {
    if (!time.isNumeric()) return kCMTimeZero;
    return std::min(std::max(time, kCMTimeZero), _duration);
}

}  // namespace varnelle
