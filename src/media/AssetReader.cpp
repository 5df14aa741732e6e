#include "media/AssetReader.h"

#include <pthread.h>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "media/detail/FrameGrid.h"
#include "media/detail/FrameRequest.h"
#include "media/detail/TrackReader.h"

namespace varnelle {
namespace {

/// What the threads of a reader and the requests share. A request may outlive its reader.
struct Delivery {
    std::mutex mutex;
    std::condition_variable wakeUp;
    // guarded by mutex
    TransferStatus status = TransferStatus::unknown;
    std::exception_ptr error;
    std::map<std::int64_t, VideoFrame> composed;
    std::int64_t nextIndex = 0;  // the frame that is delivered next

    void receive(std::int64_t index, const detail::RequestAnswer& answer) {
        if (const auto* frame = std::get_if<VideoFrame>(&answer)) {
            deliver(index, *frame);
        } else if (const auto* failure = std::get_if<std::exception_ptr>(&answer)) {
            end(TransferStatus::failed, *failure);
        } else {
            end(TransferStatus::cancelled, nullptr);
        }
    }

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

}  // namespace

class AssetReader::Implementation {
public:
    Implementation(std::shared_ptr<const Composition> composition, VideoComposition video)
        : composition_(std::move(composition)), video_(std::move(video)) {
        grid_ = detail::FrameGrid(composition_->duration(), video_.frameDuration);
        for (const TrackID id : video_.instruction->requiredSourceTrackIDs()) {
            const CompositionTrack* track = composition_->track(id);
            if (track == nullptr || track->mediaType() != MediaType::video) continue;
            tracks_.push_back(std::make_unique<detail::TrackReader>(*track, grid_));
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
            if (delivery_->status == TransferStatus::reading && delivery_->nextIndex == grid_.count()) {
                delivery_->status = TransferStatus::completed;
            }
            const auto isThere = [this] { return delivery_->composed.contains(delivery_->nextIndex); };
            delivery_->wakeUp.wait(lock,
                                   [&] { return delivery_->status != TransferStatus::reading || isThere(); });
            if (delivery_->status != TransferStatus::reading) return std::nullopt;
            auto frame = delivery_->composed.extract(delivery_->nextIndex);
            sample.data = std::move(frame.mapped());
            sample.presentationTime = grid_.time(delivery_->nextIndex);
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
        for (std::int64_t i = 0; i < grid_.count(); ++i) {
            {
                std::unique_lock lock(delivery_->mutex);
                delivery_->wakeUp.wait(lock, [&] {
                    return delivery_->status != TransferStatus::reading || i < delivery_->nextIndex + inWork;
                });
                if (delivery_->status != TransferStatus::reading) return;
            }
            detail::SourceFrames frames;
            try {
                for (const auto& track : tracks_) frames.emplace_back(track->trackID(), track->next());
            } catch (...) {
                waitForDelivery(i);
                delivery_->end(TransferStatus::failed, std::current_exception());
                return;
            }
            if (status() != TransferStatus::reading) return;
            compositor_->startRequest(std::make_shared<detail::FrameRequest>(
                grid_.time(i), video_.instruction, context_, std::move(frames),
                [delivery = delivery_, i](const detail::RequestAnswer& answer) {
                    delivery->receive(i, answer);
                }));
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
    detail::FrameGrid grid_;
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
