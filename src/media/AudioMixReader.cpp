#include "media/AudioMixReader.h"

#include <pthread.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "media/detail/PeakLimiter.h"
#include "media/detail/SoundTrackReader.h"

namespace varnelle {
namespace {

/// Samples of each channel in a block: 21 ms.
constexpr std::int64_t kBlockFrames = 1024;
/// Blocks that are mixed ahead: a third of a second, enough to hide a seek to the next cut.
constexpr std::size_t kBlocksAhead = 16;

}  // namespace

class AudioMixReader::Implementation {
public:
    Implementation(std::shared_ptr<const Composition> composition, const AudioMix& mix)
        : composition_(std::move(composition)),
          frameCount_(std::max<std::int64_t>(0, detail::mixPosition(composition_->duration()))) {
        for (const CompositionTrack& track : composition_->tracks()) {
            if (track.mediaType() != MediaType::audio) continue;
            const float volume = mix.volume(track.trackID());
            if (volume != 0) tracks_.push_back({std::make_unique<detail::SoundTrackReader>(track), volume});
        }
    }

    ~Implementation() {
        end(TransferStatus::cancelled, nullptr);
        if (thread_.joinable()) thread_.join();
    }

    bool start() {
        {
            const std::lock_guard lock(mutex_);
            if (status_ != TransferStatus::unknown) return false;
            status_ = TransferStatus::reading;
        }
        thread_ = std::thread([this] { run(); });
        return true;
    }

    std::optional<SampleBuffer> copyNext() {
        std::optional<SampleBuffer> sample;
        {
            std::unique_lock lock(mutex_);
            wakeUp_.wait(lock, [this] {
                return status_ != TransferStatus::reading || !blocks_.empty() || hasMixedAll_ || failure_;
            });
            if (status_ != TransferStatus::reading) return std::nullopt;
            if (blocks_.empty()) {
                // What was mixed before a failure is good and has been delivered by now.
                status_ = failure_ ? TransferStatus::failed : TransferStatus::completed;
                error_ = failure_;
                return std::nullopt;
            }
            sample = std::move(blocks_.front());
            blocks_.pop_front();
        }
        wakeUp_.notify_all();
        return sample;
    }

    void end(TransferStatus newStatus, const std::exception_ptr& newError) {
        {
            const std::lock_guard lock(mutex_);
            if (status_ != TransferStatus::reading && status_ != TransferStatus::unknown) return;
            status_ = newStatus;
            error_ = newError;
            blocks_.clear();
        }
        wakeUp_.notify_all();
    }

    [[nodiscard]] TransferStatus status() const {
        const std::lock_guard lock(mutex_);
        return status_;
    }

    [[nodiscard]] std::exception_ptr error() const {
        const std::lock_guard lock(mutex_);
        return error_;
    }

private:
    void run() {
        pthread_setname_np(pthread_self(), "mix-sound");
        std::exception_ptr failure;
        try {
            mixAll();
        } catch (...) {
            failure = std::current_exception();
        }
        {
            const std::lock_guard lock(mutex_);
            failure_ = failure;
            hasMixedAll_ = !failure;
        }
        wakeUp_.notify_all();
    }

    void mixAll() {
        std::vector<float> mixed;
        std::vector<float> limited;
        for (std::int64_t i = 0; i < frameCount_; i += kBlockFrames) {
            const std::int64_t count = std::min(kBlockFrames, frameCount_ - i);
            mixed.assign(static_cast<std::size_t>(count) * detail::kMixChannels, 0.0F);
            for (const Track& track : tracks_) track.reader->addTo(mixed, i, track.volume);
            limiter_.process(mixed, limited);
            if (i + count == frameCount_) limiter_.flush(limited);
            if (!deliver(limited)) return;
            limited.clear();
        }
    }

    /// False if nobody wants it any more.
    bool deliver(const std::vector<float>& samples) {
        if (samples.empty()) return true;
        const auto count = static_cast<std::int64_t>(samples.size()) / detail::kMixChannels;
        SampleBuffer block;
        block.data = PCMBlock{detail::kMixRate, detail::kMixChannels,
                              std::make_shared<const std::vector<float>>(samples)};
        block.presentationTime = CMTime::make(deliveredFrames_, detail::kMixRate);
        block.duration = CMTime::make(count, detail::kMixRate);
        deliveredFrames_ += count;
        {
            std::unique_lock lock(mutex_);
            wakeUp_.wait(
                lock, [this] { return status_ != TransferStatus::reading || blocks_.size() < kBlocksAhead; });
            if (status_ != TransferStatus::reading) return false;
            blocks_.push_back(std::move(block));
        }
        wakeUp_.notify_all();
        return true;
    }

    struct Track {
        std::unique_ptr<detail::SoundTrackReader> reader;
        float volume;
    };

    const std::shared_ptr<const Composition> composition_;
    const std::int64_t frameCount_;

    // thread only, once it is started
    std::vector<Track> tracks_;
    detail::PeakLimiter limiter_;
    std::int64_t deliveredFrames_ = 0;

    mutable std::mutex mutex_;
    std::condition_variable wakeUp_;
    // guarded by mutex_
    TransferStatus status_ = TransferStatus::unknown;
    std::exception_ptr error_;
    std::deque<SampleBuffer> blocks_;
    bool hasMixedAll_ = false;
    std::exception_ptr failure_;  // becomes the error once the blocks before it have been taken

    std::thread thread_;
};

AudioMixReader::AudioMixReader(std::shared_ptr<const Composition> composition, const AudioMix& mix)
    : implementation_(std::make_unique<Implementation>(std::move(composition), mix)) {}

AudioMixReader::~AudioMixReader() = default;

bool AudioMixReader::startReading() {
    return implementation_->start();
}
std::optional<SampleBuffer> AudioMixReader::copyNextSampleBuffer() {
    return implementation_->copyNext();
}
void AudioMixReader::cancelReading() {
    implementation_->end(TransferStatus::cancelled, nullptr);
}
TransferStatus AudioMixReader::status() const {
    return implementation_->status();
}
std::exception_ptr AudioMixReader::error() const {
    return implementation_->error();
}

}  // namespace varnelle
