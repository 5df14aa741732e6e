#include "editor/WaveformCache.h"

#include <QThreadPool>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <mutex>
#include <utility>

#include "foundation/Log.h"
#include "media/AudioMixReader.h"
#include "media/Composition.h"
#include "media/MediaAsset.h"

namespace varnelle {
namespace {

constexpr auto kProgressInterval = std::chrono::milliseconds(250);
constexpr std::size_t kChannels = 2;
constexpr std::size_t kFramesPerPeak = 480;  // of 48,000 a second

/// All sound of a movie from its start; null if it has none.
std::shared_ptr<const Composition> soundOf(const URL& source) {
    const auto asset = std::make_shared<const MediaAsset>(source);
    auto composition = std::make_shared<Composition>();
    for (const MediaTrack& track : asset->tracks(MediaType::audio)) {
        if (clampedSeconds(track.duration) <= 0) continue;
        composition->addTrack(MediaType::audio)
            .insertTimeRange({kCMTimeZero, track.duration}, asset, track, kCMTimeZero);
    }
    return composition->tracks().empty() ? nullptr : composition;
}

/// Collects peaks from blocks of any length.
class PeakCollector {
public:
    void add(const PCMBlock& block) {
        for (std::size_t frame = 0; frame < block.frameCount(); ++frame) {
            for (std::size_t channel = 0; channel < kChannels; ++channel) {
                highest_ = std::max(highest_, std::abs((*block.samples)[kChannels * frame + channel]));
            }
            if (++count_ == kFramesPerPeak) finishPeak();
        }
    }
    void finish() {
        if (count_ > 0) finishPeak();
    }
    [[nodiscard]] const std::vector<std::uint8_t>& peaks() const { return peaks_; }

private:
    void finishPeak() {
        peaks_.push_back(static_cast<std::uint8_t>(std::lround(255 * std::min(1.0F, highest_))));
        highest_ = 0;
        count_ = 0;
    }

    std::vector<std::uint8_t> peaks_;
    float highest_ = 0;
    std::size_t count_ = 0;
};

}  // namespace

double Waveform::peak(double fromSeconds, double toSeconds) const {
    const auto place = [this](double seconds) {
        return static_cast<std::ptrdiff_t>(
            std::clamp(seconds * kPeaksPerSecond, 0.0, static_cast<double>(peaks.size())));
    };
    const auto begin = place(fromSeconds);
    const auto end = std::max(place(toSeconds), std::min(begin + 1, std::ssize(peaks)));
    if (begin >= end) return 0;
    return *std::max_element(peaks.begin() + begin, peaks.begin() + end) / 255.0;
}

/// Reads the sound. `directory_` belongs to the queue.
class WaveformCache::Worker {
public:
    Worker(WaveformCache* owner, TimelineCacheDirectory directory)
        : owner_(owner), directory_(std::move(directory)) {}

    void want(const std::set<URL>& sources) {
        const std::lock_guard lock(mutex_);
        wanted_ = sources;
    }
    void cancel() {
        const std::lock_guard lock(mutex_);
        owner_ = nullptr;
        wanted_.clear();
    }
    void make(const URL& source) {
        try {
            if (isWanted(source)) tell(source, readOrMade(source));
        } catch (const std::exception& error) {
            logger(LogCategory::app).warn("The timeline shows no sound of a movie. {}", error.what());
        }
    }

private:
    bool isWanted(const URL& source) {
        const std::lock_guard lock(mutex_);
        return wanted_.contains(source);
    }
    void tell(const URL& source, Waveform waveform) {
        auto shared = std::make_shared<const Waveform>(std::move(waveform));
        const std::lock_guard lock(mutex_);
        if (owner_ == nullptr) return;
        QMetaObject::invokeMethod(
            owner_, [owner = owner_, source, shared] { owner->set(source, shared); }, Qt::QueuedConnection);
    }
    Waveform readOrMade(const URL& source) {
        const auto name = TimelineCacheDirectory::name(source, "waveform");
        if (name) {
            if (const auto kept = directory_.read(*name)) {
                return {{kept->begin(), kept->end()}, true};
            }
        }
        Waveform waveform = made(source);
        if (name && waveform.isComplete) {
            directory_.write(*name, QByteArray(reinterpret_cast<const char*>(waveform.peaks.data()),
                                               static_cast<qsizetype>(waveform.peaks.size())));
        }
        return waveform;
    }
    Waveform made(const URL& source) {
        const auto sound = soundOf(source);
        if (!sound) return {{}, true};
        AudioMixReader reader(sound, {});
        PeakCollector collector;
        std::chrono::steady_clock::time_point lastReport;
        if (!reader.startReading()) return {};
        while (const auto sample = reader.copyNextSampleBuffer()) {
            if (!isWanted(source)) return {collector.peaks(), false};
            if (const PCMBlock* block = sample->pcm()) collector.add(*block);
            const auto now = std::chrono::steady_clock::now();
            if (now - lastReport < kProgressInterval) continue;
            lastReport = now;
            tell(source, {collector.peaks(), false});
        }
        collector.finish();
        return {collector.peaks(), reader.status() == TransferStatus::completed};
    }

    std::mutex mutex_;
    WaveformCache* owner_;  // guarded by mutex_; null once it has gone
    std::set<URL> wanted_;  // guarded by mutex_
    TimelineCacheDirectory directory_;
};

WaveformCache::WaveformCache(TimelineCacheDirectory directory)
    : worker_(std::make_shared<Worker>(this, std::move(directory))),
      queue_(std::make_shared<SerialQueue>("com.varnelle.editor.waveform")) {}

WaveformCache::~WaveformCache() {
    worker_->cancel();
    // The queue's end waits for the block in work, which the main thread mustn't.
    QThreadPool::globalInstance()->start([queue = std::move(queue_)]() mutable { queue.reset(); });
}

std::shared_ptr<const Waveform> WaveformCache::waveform(const URL& source) const {
    const auto found = waveforms_.find(source);
    return found == waveforms_.end() ? nullptr : found->second;
}

void WaveformCache::want(const std::set<URL>& sources) {
    if (sources == wanted_) return;
    const std::set<URL> before = std::exchange(wanted_, sources);
    worker_->want(sources);
    for (const URL& source : sources) {
        const auto known = waveform(source);
        if (before.contains(source) || (known && known->isComplete)) continue;
        queue_->async([worker = worker_, source] { worker->make(source); });
    }
}

void WaveformCache::set(const URL& source, std::shared_ptr<const Waveform> waveform) {
    waveforms_[source] = std::move(waveform);
    emit waveformsChanged();
}

}  // namespace varnelle
