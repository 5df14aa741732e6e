#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "recording/CameraFeed.h"

namespace varnelle {

/// Where the pictures of whichever camera runs can be watched, besides going where they are recorded. Safe to
/// share between threads.
class CameraPreviewHub : public std::enable_shared_from_this<CameraPreviewHub> {
public:
    using Watcher = std::function<void(const VideoFrame&)>;

    /// A factory whose cameras can be watched here.
    [[nodiscard]] CameraFactory watched(CameraFactory factory);
    /// Who gets the pictures from now on, on the camera's queue; an empty watcher for nobody. When it
    /// returns, the one before is neither running nor called any more. It is handed the last picture at once.
    void watch(Watcher watcher);

private:
    friend class WatchedCamera;
    void show(const VideoFrame& picture);
    void clear();

    std::mutex mutex_;
    Watcher watcher_;  // guarded by mutex_
    VideoFrame last_;  // guarded by mutex_; empty while no camera runs
};

}  // namespace varnelle
