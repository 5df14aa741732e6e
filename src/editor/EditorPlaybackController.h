#pragma once

#include <QtQml/qqmlregistration.h>
#include <QCoro/QCoroTask>
#include <QObject>
#include <QSize>
#include <QString>
#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "camera/OverlayConfigurationController.h"
#include "camera/ZoomPanClipsController.h"
#include "foundation/CMTime.h"
#include "foundation/Queue.h"
#include "foundation/URL.h"
#include "media/PlayerControls.h"
#include "model/Project.h"
#include "render/VideoCompositor.h"

namespace varnelle {

class PreviewFrames;

/// Plays the edited project in the editor: builds its composition whenever its structure changes, drives the
/// one player, and publishes time and state for the timeline and the preview. Changes of the look, of the
/// zoom-pan ranges and of the sound go into what plays, without a build.
///
/// Qt main thread; only the end without a queue waits. One controller lives as long as an editor view. C++
/// reads exact times
/// (`currentTime()`), QML seconds (`currentSeconds`).
class EditorPlaybackController : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The editor makes it.")
    Q_PROPERTY(double currentSeconds READ currentSeconds NOTIFY currentTimeChanged)
    Q_PROPERTY(double durationSeconds READ durationSeconds NOTIFY durationChanged)
    Q_PROPERTY(bool isPlaying READ isPlaying NOTIFY isPlayingChanged)
    Q_PROPERTY(double previewAspectRatio READ previewAspectRatio NOTIFY previewAspectRatioChanged)
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY isLoadingChanged)
    Q_PROPERTY(QString loadErrorText READ loadErrorText NOTIFY loadErrorChanged)
    Q_PROPERTY(float playbackRate READ playbackRate NOTIFY playbackRateChanged)
    Q_PROPERTY(bool isSkimming READ isSkimming NOTIFY isSkimmingChanged)

public:
    /// The program passes a `Player` with the desktop's audio output, tests perhaps a player of their own.
    explicit EditorPlaybackController(std::unique_ptr<PlayerControls> player, QObject* parent = nullptr);
    /// Tears down.
    ~EditorPlaybackController() override;

    /// The playhead, timeline time within [0, duration].
    [[nodiscard]] const CMTime& currentTime() const { return _currentTime; }
    [[nodiscard]] double currentSeconds() const { return clampedSeconds(_currentTime); }
    /// Of the loaded composition; zero without one.
    [[nodiscard]] const CMTime& duration() const { return _duration; }
    [[nodiscard]] double durationSeconds() const { return clampedSeconds(_duration); }
    [[nodiscard]] bool isPlaying() const { return _isPlaying; }
    /// Width by height of what is rendered; 16/9 before the first load.
    [[nodiscard]] double previewAspectRatio() const { return _previewAspectRatio; }
    /// Measured length of each clip's source.
    [[nodiscard]] const std::map<URL, CMTime>& assetDurations() const { return _assetDurations; }
    /// Where the telemetry says that something happens, timeline time; what zoom-pan clips are seeded from.
    [[nodiscard]] const std::vector<CMTimeRange>& autoZoomAndPanActiveRanges() const {
        return _autoZoomAndPanActiveRanges;
    }
    [[nodiscard]] bool isLoading() const { return _isLoading; }
    /// Why the last load failed, for the user to read; absent if it didn't.
    [[nodiscard]] const std::optional<std::string>& loadError() const { return _loadError; }
    [[nodiscard]] QString loadErrorText() const {
        return _loadError ? QString::fromStdString(*_loadError) : QString();
    }
    [[nodiscard]] float playbackRate() const { return _playbackRate; }
    /// A scrub is under way.
    [[nodiscard]] bool isSkimming() const { return _isSkimming; }

    /// Builds the project's composition on a queue and takes it up; the task ends when its frame at the
    /// resumed position is there, or when a newer load has overtaken this one, which then publishes nothing.
    /// Nothing of it is published before this returns. A failure becomes `loadError`. The first load plays,
    /// unless `rest` was called; another one goes on as it was.
    QCoro::Task<> load(Project project, bool keepingPosition);

    /// Plays, from zero if the playhead stands at the end, or pauses.
    Q_INVOKABLE void togglePlayback();
    /// Pauses what plays. From now on no load starts playing by itself, not even the first.
    void rest();
    /// Goes to a time, clamped to [0, duration]. What plays goes on from there.
    void seek(const CMTime& time);
    Q_INVOKABLE void seekToSeconds(double seconds) { seek(timeFromSeconds(seconds)); }
    /// One step of a scrub to a time, clamped likewise; the newest one wins. Without a time, its end.
    void scrub(const std::optional<CMTime>& time);
    Q_INVOKABLE void scrubToSeconds(double seconds) { scrub(timeFromSeconds(seconds)); }
    Q_INVOKABLE void endScrub() { scrub(std::nullopt); }
    /// From 0.5 to 8; the pitch is kept.
    Q_INVOKABLE void setPlaybackRate(float rate);

    // Live changes: no build and no seek. Without a loaded composition they do nothing.
    /// The frame that is shown is drawn anew if the look differs.
    void applyOverlayConfiguration(const OverlayConfiguration& configuration);
    void applyZoomPanClips(const std::vector<TimelineZoomPanClip>& clips);
    void applyAudioConfiguration(const AudioConfiguration& configuration);

    /// How large the preview is shown, in pixels of the screen: no more are drawn. `PreviewItem` tells it.
    void setPreviewSize(QSize pixels);
    /// Where the preview finds the newest frame. Never null; outlives the controller if need be.
    [[nodiscard]] const std::shared_ptr<PreviewFrames>& previewFrames() const { return previewFrames_; }

    /// Cancels what is under way and ends the player with all its threads, which the destructor does too. No
    /// time and no state is published afterwards.
    void teardown();
    /// Falls silent and does the same without waiting: what threads are still at, and what is large to let go
    /// of, ends on a queue.
    void teardown(SerialQueue& queue);

signals:
    void currentTimeChanged();
    void durationChanged();
    void isPlayingChanged();
    void previewAspectRatioChanged();
    void assetDurationsChanged();
    void autoZoomAndPanActiveRangesChanged();
    void isLoadingChanged();
    void loadErrorChanged();
    void playbackRateChanged();
    void isSkimmingChanged();

private:
    /// What a load has made, with the lengths of the sources.
    struct BuiltComposition {
        CompositionResult result;
        std::map<URL, CMTime> assetDurations;
    };
    /// Live changes that came while a composition was being built without them.
    struct LateChanges {
        std::optional<OverlayConfiguration> overlay;
        std::optional<std::vector<CMTimeRange>> zoomPanRanges;
        std::optional<AudioConfiguration> audio;
    };

    /// The way from the player's threads to the main thread, which is shut before the object goes.
    class Door;
    /// What a teardown may have to wait for.
    struct Remains;

    template <typename Value>
    void set(Value& field, Value value, void (EditorPlaybackController::*changed)());
    void observePlayer();
    void playerReached(const CMTime& time);
    void playerEnded(const std::shared_ptr<const PlayerItem>& item);
    void playerFailed(const std::shared_ptr<const PlayerItem>& item, const std::string& description);
    [[nodiscard]] static BuiltComposition build(const Project& project);
    [[nodiscard]] bool isCurrentLoad(int generation) const {
        return player_ && generation == loadGeneration_;
    }
    void publish(const BuiltComposition& built, const Project& project);
    void failLoad(const std::string& description);
    void startOrRest();
    [[nodiscard]] CMTime clampedToDuration(const CMTime& time) const;
    /// Cancels the running seek, shows the time as the playhead's, and goes there.
    void goTo(const CMTime& time);
    void seekEnded(int generation, bool isFinished);

    [[nodiscard]] std::shared_ptr<Remains> leave();

    CMTime _currentTime = kCMTimeZero;
    CMTime _duration = kCMTimeZero;
    bool _isPlaying = false;
    double _previewAspectRatio = 16.0 / 9.0;
    std::map<URL, CMTime> _assetDurations;
    std::vector<CMTimeRange> _autoZoomAndPanActiveRanges;
    bool _isLoading = false;
    std::optional<std::string> _loadError;
    float _playbackRate = 1;
    bool _isSkimming = false;

    int loadGeneration_ = 0;
    bool playsByItself_ = true;    ///< until the first load has ended, or `rest` was called
    bool playsAfterLoad_ = false;  ///< the load under way is to go on playing
    LateChanges lateChanges_;
    int seekGeneration_ = 0;
    bool isSeeking_ = false;  ///< times that the player tells may be from before the seek
    std::shared_ptr<const PlayerItem> item_;
    std::shared_ptr<OverlayConfigurationController> overlayController_;
    std::shared_ptr<ZoomPanClipsController> zoomPanClipsController_;
    AudioTrackRouting audioRouting_;
    AudioConfiguration appliedAudioConfiguration_;

    const std::shared_ptr<Door> door_;
    std::shared_ptr<PreviewFrames> previewFrames_;
    std::unique_ptr<PlayerControls> player_;  ///< null after teardown
    /// The newest load, for builds that wait: an older one needn't be made.
    std::shared_ptr<std::atomic<int>> newestBuild_ = std::make_shared<std::atomic<int>>(0);
    std::unique_ptr<SerialQueue> buildQueue_;  ///< null after teardown
};

}  // namespace varnelle
