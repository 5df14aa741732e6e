#pragma once

#include <functional>
#include <mutex>

#include "media/VideoFrame.h"

namespace varnelle {

/// Where the newest frame of a preview waits for whoever draws it; an older one that nobody took is gone.
/// Safe to share between threads.
class PreviewFrames {
public:
    void put(const VideoFrame& frame);
    /// Nothing is to be shown any more.
    void clear() { put({}); }
    /// Empty if nothing is to be shown.
    [[nodiscard]] VideoFrame newest() const;
    /// Called after each change, on the thread that made it; an empty handler for nobody. When it returns,
    /// the one before is neither running nor called any more.
    void setOnChange(std::function<void()> onChange);

private:
    mutable std::mutex mutex_;
    VideoFrame newest_;               // guarded by mutex_
    std::function<void()> onChange_;  // guarded by mutex_, also while it runs
};

}  // namespace varnelle
