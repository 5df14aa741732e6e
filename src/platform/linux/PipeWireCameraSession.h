#pragma once

#include <pipewire/pipewire.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/CameraSession.h"
#include "platform/linux/PipeWireHub.h"
#include "platform/linux/PipeWireStream.h"

namespace varnelle {

/// A camera of PipeWire's. Pictures are copied on the loop's thread and brought to their final form on the
/// output's queue.
class PipeWireCameraSession final : public CameraSession,
                                    private PipeWireHub::Listener,
                                    private PipeWireStream::Client {
public:
    /// Throws `PlatformError` for a camera that isn't connected. One that offers no format that can be
    /// read delivers nothing.
    PipeWireCameraSession(std::shared_ptr<PipeWireHub> hub, std::string cameraID, CameraOutput output);
    ~PipeWireCameraSession() override;
    PipeWireCameraSession(const PipeWireCameraSession&) = delete;
    PipeWireCameraSession& operator=(const PipeWireCameraSession&) = delete;

    void startRunning() override;
    void stopRunning() override;
    [[nodiscard]] bool isRunning() const override { return isRunning_; }
    [[nodiscard]] std::optional<CameraDimensions> activeFormatDimensions() const override;

private:
    class Mailbox;

    // Loop's thread.
    void serverChanged() override;
    void connectionLost() override;
    void ended(const std::string& reason) override;
    void formatChanged(const spa_pod* parameter) override;
    void process(pw_stream* stream) override;
    void connect();
    void disconnect();
    void take(const pw_buffer& buffer);
    void noteOutage(const std::string& reason);

    const std::shared_ptr<PipeWireHub> hub_;
    const std::string cameraID_;
    std::string cameraName_;
    std::optional<CameraFormat> wantedFormat_;
    const std::shared_ptr<Mailbox> mailbox_;  ///< between the loop's thread and the queue
    std::atomic<bool> isRunning_ = false;
    mutable std::mutex mutex_;
    std::optional<CameraDimensions> dimensions_;  // guarded by mutex_

    // Loop's thread only.
    bool isStarted_ = false;
    bool isOut_ = false;  ///< an outage has been logged and hasn't ended
    std::optional<CameraFormat> format_;
    ColorDescription color_;
    std::unique_ptr<PipeWireStream> stream_;
};

}  // namespace varnelle
