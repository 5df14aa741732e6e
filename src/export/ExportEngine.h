#pragma once

#include <QCoro/QCoroTask>
#include <QObject>
#include <QTimer>
#include <exception>
#include <functional>
#include <memory>
#include <variant>

#include "export/ExportSettings.h"
#include "foundation/Queue.h"
#include "media/AssetReader.h"
#include "media/AssetWriter.h"
#include "media/AudioMixReader.h"
#include "model/Project.h"
#include "tasks/Completion.h"

namespace varnelle {

struct CompositionResult;

/// Turns a project into a movie file: pulls its composition frame by frame through the renderer, and its
/// sound through the mix, into a writer, faster than real time. One export at a time. Lives on the Qt main
/// thread; the pumping runs on queues of its own.
class ExportEngine final : public QObject {
    Q_OBJECT
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged)
    Q_PROPERTY(bool isExporting READ isExporting NOTIFY isExportingChanged)

public:
    /// The movie's place, or why there is none.
    using Result = std::variant<URL, std::exception_ptr>;

    ExportEngine();
    ~ExportEngine() override;

    /// Exports; a movie of the same name is replaced once the new one is complete. `onProgress` is called ten
    /// times a second with 0 to 1, `onComplete` exactly once: errors are `VideoCompositorError`,
    /// `MediaError`, `ExportError`. The engine must outlive the task.
    QCoro::Task<> exportProject(Project project, ExportSettings settings,
                                std::function<void(double)> onProgress,
                                std::function<void(Result)> onComplete);
    /// Ends a running export; `onComplete` then reports `ExportError` (`cancelled`), and a movie that was
    /// there before stays. An export whose movie is already in its place has succeeded and says so.
    void cancel();

    [[nodiscard]] double progress() const { return _progress; }
    [[nodiscard]] bool isExporting() const { return _isExporting; }

signals:
    void progressChanged();
    void isExportingChanged();

private:
    class ProgressTracker;

    QCoro::Task<URL> run(Project project, ExportSettings settings, std::function<void(double)> onProgress);
    void openReaders(const Project& project, const CompositionResult& composition, bool includesAudio);
    template <typename Reader>
    Completion<void> pump(SerialQueue& queue, std::shared_ptr<AssetWriterInput> input,
                          std::shared_ptr<Reader> reader,
                          std::function<void(const SampleBuffer&)> onAppended);
    [[nodiscard]] std::function<void()> stopReading() const;
    void startProgressTimer(const std::shared_ptr<ProgressTracker>& tracker, double durationSeconds,
                            const std::function<void(double)>& onProgress);
    void throwUnlessComplete() const;
    void cleanUp();
    void setProgress(double progress);
    void setIsExporting(bool isExporting);

    double _progress = 0;
    bool _isExporting = false;
    bool isCancelled_ = false;
    QTimer progressTimer_;
    std::shared_ptr<AssetReader> assetReader_;     // set while an export runs, as are the next
    std::shared_ptr<AudioMixReader> audioReader_;  // null without sound
    std::shared_ptr<AssetWriter> assetWriter_;
    SerialQueue buildQueue_{"com.varnelle.export.build"};
    SerialQueue videoQueue_{"com.varnelle.export.video"};
    SerialQueue audioQueue_{"com.varnelle.export.audio"};
};

}  // namespace varnelle
