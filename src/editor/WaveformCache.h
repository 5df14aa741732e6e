#pragma once

#include <QObject>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "editor/TimelineCacheDirectory.h"
#include "foundation/Queue.h"
#include "foundation/URL.h"

namespace varnelle {

/// How loud a movie's sound is, all its tracks together: the highest sample of each hundredth of a second,
/// 255 for full scale. No peaks for a movie without sound.
struct Waveform {
    static constexpr double kPeaksPerSecond = 100;

    std::vector<std::uint8_t> peaks;
    bool isComplete = false;

    /// The highest peak of a stretch of source time, 0 to 1.
    [[nodiscard]] double peak(double fromSeconds, double toSeconds) const;
};

/// Waveforms of movies, made on a queue of their own and kept on disk. They grow while they are made. Main
/// thread, and the render thread while that waits.
class WaveformCache : public QObject {
    Q_OBJECT

public:
    explicit WaveformCache(TimelineCacheDirectory directory = TimelineCacheDirectory());
    /// Doesn't wait for what is being read.
    ~WaveformCache() override;

    /// As far as it is known; null if nothing is, yet or ever.
    [[nodiscard]] std::shared_ptr<const Waveform> waveform(const URL& source) const;
    /// The movies whose waveforms are needed, instead of those that were. What is being made for another one
    /// is given up.
    void want(const std::set<URL>& sources);

signals:
    void waveformsChanged();

private:
    class Worker;

    void set(const URL& source, std::shared_ptr<const Waveform> waveform);

    std::map<URL, std::shared_ptr<const Waveform>> waveforms_;
    std::set<URL> wanted_;
    std::shared_ptr<Worker> worker_;
    std::shared_ptr<SerialQueue> queue_;
};

}  // namespace varnelle
