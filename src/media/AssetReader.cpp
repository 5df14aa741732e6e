#include "media/AssetReader.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "media/MediaError.h"
#include "media/detail/TrackReader.h"

namespace varnelle {
namespace {

using SourceFrames = std::vector<std::pair<TrackID, std::optional<VideoFrame>>>;

/// What the threads of a reader and the requests share. A request may outlive its reader.
struct Delivery {
    std::mutex mutex;
    std::condition_variable wakeUp;
    // guarded by mutex
    TransferStatus status = TransferStatus::unknown;
    std::exception_ptr error;
    std::map<std::int64_t, VideoFrame> composed;
    std::int64_t nextIndex = 0;  // the frame that is delivered next

    void deliver(std::int64_t index, const VideoFrame& frame) {
        {
            const std::lock_guard lock(mutex);
            if (status != TransferStatus::reading) return;
            composed.emplace(index, frame);
        }
        wakeUp.notify_all();
    }

    void end(TransferStatus newStatus, const std::exception_ptr& newError) {
        {
            const std::lock_guard lock(mutex);
            if (status != TransferStatus::reading && status != TransferStatus::unknown) return;
            status = newStatus;
            error = newError;
            composed.clear();
        }
        wakeUp.notify_all();
    }
};

class Request final : public VideoCompositionRequest {
public:
    Request(std::shared_ptr<Delivery> delivery, std::int64_t index, CMTime time,
            std::shared_ptr<const VideoCompositionInstruction> instruction,
            std::shared_ptr<VideoRenderContext> context, SourceFrames frames)
        : delivery_(std::move(delivery)),
          index_(index),
          time_(time),
          instruction_(std::move(instruction)),
          context_(std::move(context)),
          frames_(std::move(frames)) {}

    ~Request() override {
        finish(std::make_exception_ptr(MediaError(MediaError::Code::cannotDecode,
                                                  "A picture was never composed: its request was dropped.")));
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    [[nodiscard]] CMTime compositionTime() const override { return time_; }
    [[nodiscard]] std::shared_ptr<const VideoCompositionInstruction> instruction() const override {
        return instruction_;
    }
    [[nodiscard]] std::shared_ptr<VideoRenderContext> renderContext() const override { return context_; }
    [[nodiscard]] std::optional<VideoFrame> sourceFrame(TrackID track) const override {
        for (const auto& [id, frame] : frames_) {
            if (id == track) return frame;
        }
        return std::nullopt;
    }

    void finish(const VideoFrame& composedFrame) override {
        if (!isFinished_.exchange(true)) delivery_->deliver(index_, composedFrame);
    }
    void finish(const std::exception_ptr& error) override {
        if (!isFinished_.exchange(true)) delivery_->end(TransferStatus::failed, error);
    }
    void finishCancelledRequest() override {
        if (!isFinished_.exchange(true)) delivery_->end(TransferStatus::cancelled, nullptr);
    }

private:
    const std::shared_ptr<Delivery> delivery_;
    const std::int64_t index_;
    const CMTime time_;
    const std::shared_ptr<const VideoCompositionInstruction> instruction_;
    const std::shared_ptr<VideoRenderContext> context_;
    const SourceFrames frames_;
    std::atomic<bool> isFinished_ = false;
};

/// Grid moments from zero that lie before the end.
std::int64_t gridSize(const CMTime& duration, const CMTime& frameDuration) {
    if (!duration.isNumeric() || duration <= kCMTimeZero) return 0;
    auto count = static_cast<std::int64_t>(duration.seconds() / frameDuration.seconds());
    while (count > 0 && detail::gridTime(frameDuration, count - 1) >= duration) --count;
    while (detail::gridTime(frameDuration, count) < duration) ++count;
    return count;
}

}  // namespace

class AssetReader::Implementation {
public:
    Implementation(std::shared_ptr<const Composition> composition, VideoComposition video)
        : composition_(std::move(composition)), video_(std::move(video)) {
        if (!video_.frameDuration.isNumeric() || video_.frameDuration <= kCMTimeZero) {
            throw MediaError(MediaError::Code::cannotDecode,
                             "A composition can't be read without a frame duration.");
        }
        frameCount_ = gridSize(composition_->duration(), video_.frameDuration);
        for (const TrackID id : video_.instruction->requiredSourceTrackIDs()) {
            const CompositionTrack* track = composition_->track(id);
            if (track == nullptr || track->mediaType() != MediaType::video) continue;
            tracks_.push_back(
                std::make_unique<detail::TrackReader>(*track, video_.frameDuration, frameCount_));
        }
        context_ = std::make_shared<VideoRenderContext>(video_.renderSize);
    }

    ~Implementation() {
        cancel();
        stopTracks();
        if (dispatcher_.joinable()) dispatcher_.join();
    }

    bool start() {
        {
            const std::lock_guard lock(delivery_->mutex);
            if (delivery_->status != TransferStatus::unknown) return false;
        }
        try {
            const std::shared_ptr<VideoCompositing> compositor = video_.makeCompositor();
            compositor->renderContextChanged(context_);
            const std::lock_guard lock(delivery_->mutex);
            compositor_ = compositor;
        } catch (...) {
            delivery_->end(TransferStatus::failed, std::current_exception());
            return false;
        }
        {
            const std::lock_guard lock(delivery_->mutex);
            if (delivery_->status != TransferStatus::unknown) return false;
            delivery_->status = TransferStatus::reading;
        }
        for (const auto& track : tracks_) track->start();
        dispatcher_ = std::thread([this] { dispatch(); });
        return true;
    }

    std::optional<SampleBuffer> copyNext() {
        SampleBuffer sample;
        {
            std::unique_lock lock(delivery_->mutex);
            if (delivery_->status == TransferStatus::reading && delivery_->nextIndex == frameCount_) {
                delivery_->status = TransferStatus::completed;
            }
            const auto isThere = [this] { return delivery_->composed.contains(delivery_->nextIndex); };
            delivery_->wakeUp.wait(lock,
                                   [&] { return delivery_->status != TransferStatus::reading || isThere(); });
            if (delivery_->status != TransferStatus::reading) return std::nullopt;
            auto frame = delivery_->composed.extract(delivery_->nextIndex);
            sample.data = std::move(frame.mapped());
            sample.presentationTime = detail::gridTime(video_.frameDuration, delivery_->nextIndex);
            sample.duration = video_.frameDuration;
            ++delivery_->nextIndex;
        }
        delivery_->wakeUp.notify_all();
        return sample;
    }

    void cancel() {
        delivery_->end(TransferStatus::cancelled, nullptr);
        stopTracks();
        std::shared_ptr<VideoCompositing> compositor;
        {
            const std::lock_guard lock(delivery_->mutex);
            compositor = compositor_;
        }
        if (compositor) compositor->cancelAllPendingRequests();
    }

    [[nodiscard]] TransferStatus status() const {
        const std::lock_guard lock(delivery_->mutex);
        return delivery_->status;
    }

    [[nodiscard]] std::exception_ptr error() const {
        const std::lock_guard lock(delivery_->mutex);
        return delivery_->error;
    }

private:
    void stopTracks() {
        for (const auto& track : tracks_) track->stop();
    }

    void dispatch() {
        pthread_setname_np(pthread_self(), "compose-ahead");
        // One more than there are processors: all are busy while the oldest frame is handed on.
        const std::int64_t inWork = std::max(1U, std::thread::hardware_concurrency()) + 1;
        for (std::int64_t i = 0; i < frameCount_; ++i) {
            {
                std::unique_lock lock(delivery_->mutex);
                delivery_->wakeUp.wait(lock, [&] {
                    return delivery_->status != TransferStatus::reading || i < delivery_->nextIndex + inWork;
                });
                if (delivery_->status != TransferStatus::reading) return;
            }
            SourceFrames frames;
            try {
                for (const auto& track : tracks_) frames.emplace_back(track->trackID(), track->next());
            } catch (...) {
                waitForDelivery(i);
                delivery_->end(TransferStatus::failed, std::current_exception());
                return;
            }
            if (status() != TransferStatus::reading) return;
            compositor_->startRequest(
                std::make_shared<Request>(delivery_, i, detail::gridTime(video_.frameDuration, i),
                                          video_.instruction, context_, std::move(frames)));
        }
    }

    /// What comes before a failure is good and is delivered first.
    void waitForDelivery(std::int64_t index) {
        std::unique_lock lock(delivery_->mutex);
        delivery_->wakeUp.wait(lock, [&] {
            return delivery_->status != TransferStatus::reading || delivery_->nextIndex >= index;
        });
    }

    const std::shared_ptr<const Composition> composition_;
    const VideoComposition video_;
    const std::shared_ptr<Delivery> delivery_ = std::make_shared<Delivery>();
    std::int64_t frameCount_ = 0;
    std::shared_ptr<VideoRenderContext> context_;
    std::vector<std::unique_ptr<detail::TrackReader>> tracks_;
    std::shared_ptr<VideoCompositing>
        compositor_;  // set under the delivery's mutex before the dispatcher starts
    std::thread dispatcher_;
};

AssetReader::AssetReader(std::shared_ptr<const Composition> composition, VideoComposition videoComposition)
    : implementation_(std::make_unique<Implementation>(std::move(composition), std::move(videoComposition))) {
}

AssetReader::~AssetReader() = default;

bool AssetReader::startReading() {
    return implementation_->start();
}
std::optional<SampleBuffer> AssetReader::copyNextSampleBuffer() {
    return implementation_->copyNext();
}
void AssetReader::cancelReading() {
    implementation_->cancel();
}
TransferStatus AssetReader::status() const {
    return implementation_->status();
}
std::exception_ptr AssetReader::error() const {
    return implementation_->error();
}

}  // namespace varnelle
