#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "foundation/Queue.h"
#include "media/VideoComposition.h"
#include "support/Waiting.h"

namespace varnelle::test {

/// One instruction over everything that needs the given tracks.
class PlainInstruction final : public VideoCompositionInstruction {
public:
    PlainInstruction(CMTimeRange range, std::vector<TrackID> tracks)
        : range_(range), tracks_(std::move(tracks)) {}
    [[nodiscard]] CMTimeRange timeRange() const override { return range_; }
    [[nodiscard]] std::vector<TrackID> requiredSourceTrackIDs() const override { return tracks_; }

private:
    CMTimeRange range_;
    std::vector<TrackID> tracks_;
};

/// Hands on the frame of one track as it is, on two threads; a rendered frame of nothing where there is none.
class PassThroughCompositor final : public VideoCompositing {
public:
    explicit PassThroughCompositor(TrackID track) : track_(track) {}
    void renderContextChanged(std::shared_ptr<VideoRenderContext> context) override {
        context_ = std::move(context);
    }
    void startRequest(std::shared_ptr<VideoCompositionRequest> request) override {
        queue_.async([this, request = std::move(request)] {
            const auto frame = request->sourceFrame(track_);
            request->finish(frame ? *frame : context_->newPixelBuffer());
            finished.put(request->compositionTime());
        });
    }
    void cancelAllPendingRequests() override {}

    Inbox<CMTime> finished;

private:
    TrackID track_;
    std::shared_ptr<VideoRenderContext> context_;
    ConcurrentQueue queue_{"com.varnelle.test.compose", 2};
};

/// Keeps all requests until they are cancelled.
class StuckCompositor final : public VideoCompositing {
public:
    void renderContextChanged(std::shared_ptr<VideoRenderContext>) override {}
    void startRequest(std::shared_ptr<VideoCompositionRequest> request) override {
        {
            const std::lock_guard lock(mutex_);
            requests_.push_back(std::move(request));
        }
        arrived_.notify_all();
    }
    void cancelAllPendingRequests() override {
        std::vector<std::shared_ptr<VideoCompositionRequest>> requests;
        {
            const std::lock_guard lock(mutex_);
            requests.swap(requests_);
        }
        for (const auto& request : requests) request->finishCancelledRequest();
    }
    void waitForRequests(std::size_t count) {
        std::unique_lock lock(mutex_);
        arrived_.wait(lock, [&] { return requests_.size() >= count; });
    }
    /// Takes the oldest request; waits for it.
    std::shared_ptr<VideoCompositionRequest> take() {
        std::unique_lock lock(mutex_);
        arrived_.wait(lock, [&] { return !requests_.empty(); });
        auto request = requests_.front();
        requests_.erase(requests_.begin());
        return request;
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<std::shared_ptr<VideoCompositionRequest>> requests_;  // guarded by mutex_
};

}  // namespace varnelle::test
