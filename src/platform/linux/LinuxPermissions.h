#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "foundation/Queue.h"
#include "platform/SystemPermissions.h"

namespace varnelle {

/// X11 lets every program see the screen, so a display that answers is access to it. The trees of other
/// programs can be read where the accessibility bus answers and the session says that accessibility is on,
/// for only then do toolkits build them.
///
/// The answers come from queues of their own; one that doesn't come within a fifth of a second (the first
/// one: a second) is taken to be the last one. Destruction may wait for a bus for a second.
class LinuxPermissions final : public SystemPermissions {
public:
    /// `displayName` as in `$DISPLAY`; empty takes `$DISPLAY`.
    explicit LinuxPermissions(std::string displayName = {});
    ~LinuxPermissions() override;

    [[nodiscard]] bool hasScreenCaptureAccess() const override;
    [[nodiscard]] bool isAccessibilityTrusted() const override;
    /// Nothing to ask for.
    void requestScreenCaptureAccess() override {}
    /// Turns accessibility on for the session.
    void requestAccessibilityTrust() override;

private:
    /// A question that is answered on a queue.
    class BoundedCheck {
    public:
        BoundedCheck(std::string label, std::function<bool()> check);
        bool answer();
        SerialQueue& queue() { return queue_; }

    private:
        const std::function<bool()> check_;
        std::mutex mutex_;
        std::condition_variable changed_;
        bool isFirst_ = true;      // guarded by mutex_
        bool isAsking_ = false;    // guarded by mutex_
        bool lastAnswer_ = false;  // guarded by mutex_
        SerialQueue queue_;
    };

    const std::unique_ptr<BoundedCheck> screenCapture_;
    const std::unique_ptr<BoundedCheck> accessibility_;
};

}  // namespace varnelle
