#pragma once

#include <pipewire/pipewire.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/CameraFormat.h"
#include "platform/linux/PipeWireLoop.h"

namespace varnelle {

/// A device that the sound and camera server offers.
struct PipeWireNode {
    std::uint32_t id = 0;
    std::string name;  ///< stable across connections and restarts
    std::string description;
    std::string mediaClass;
    std::vector<CameraFormat> cameraFormats;

    [[nodiscard]] bool isCamera() const { return mediaClass == "Video/Source"; }
    /// Processed microphones included; what an output plays is no source of its own.
    [[nodiscard]] bool isMicrophone() const {
        return mediaClass == "Audio/Source" || mediaClass == "Audio/Source/Virtual";
    }
    bool operator==(const PipeWireNode&) const = default;
};

/// The program's one connection to PipeWire, with the list of devices. It comes up and goes on by itself:
/// where no server runs, or it goes away, it is looked for again every now and then.
///
/// Safe to share between threads, except where a call is said to be for the loop's thread.
class PipeWireHub {
public:
    /// Told about the connection, on the loop's thread.
    class Listener {
    public:
        virtual ~Listener() = default;
        /// `core()` is there, or devices have come or gone, or it is time to try again after `requestRetry`.
        virtual void serverChanged() = 0;
        /// `core()` is about to be destroyed, and with it all that was made of it must go now.
        virtual void connectionLost() = 0;
    };

    /// `remoteName` is a server's name or the path of its socket; empty takes the user's own server.
    explicit PipeWireHub(std::string remoteName = {});
    ~PipeWireHub();
    PipeWireHub(const PipeWireHub&) = delete;
    PipeWireHub& operator=(const PipeWireHub&) = delete;

    [[nodiscard]] PipeWireLoop& loop() { return loop_; }
    /// The devices at this moment. Until the server has answered for the first time, waits for that, for
    /// less than half a second after the hub was made.
    [[nodiscard]] std::vector<PipeWireNode> nodes();
    /// `onChange` is called on the loop's thread when `nodes()` has changed. When the object that is returned
    /// has been destroyed, it neither runs nor is called any more.
    [[nodiscard]] std::shared_ptr<void> observeNodes(std::function<void()> onChange);

    // Loop's thread only.
    /// Null without a connection.
    [[nodiscard]] pw_core* core() const { return core_; }
    /// Whether it is known yet if there is a server.
    [[nodiscard]] bool hasAnswered() const { return hasAnswered_; }
    [[nodiscard]] const PipeWireNode* nodeNamed(const std::string& name) const;
    [[nodiscard]] bool hasMicrophone() const;
    void addListener(Listener& listener) { listeners_.push_back(&listener); }
    void removeListener(Listener& listener) { std::erase(listeners_, &listener); }
    /// `serverChanged` is called in about a second.
    void requestRetry();

private:
    class RemoteNode;
    struct Observers;

    void connect();
    void disconnect();
    void addGlobal(std::uint32_t id, const char* type, const spa_dict* properties);
    void removeGlobal(std::uint32_t id);
    /// Has `work` called when the server has done all that was asked of it so far.
    void afterRoundTrip(std::function<void()> work);
    void roundTripDone(int sequence);
    void publish();
    void notifyListeners();

    const std::string remoteName_;

    // Any thread.
    std::mutex mutex_;
    std::condition_variable answered_;
    std::vector<PipeWireNode> published_;  // guarded by mutex_
    bool isAnswerKnown_ = false;           // guarded by mutex_
    const std::chrono::steady_clock::time_point answerDeadline_;
    std::shared_ptr<Observers> observers_;

    // Loop's thread only.
    pw_context* context_ = nullptr;
    pw_core* core_ = nullptr;
    pw_registry* registry_ = nullptr;
    spa_source* retryTimer_ = nullptr;
    spa_hook coreListener_{};
    spa_hook registryListener_{};
    bool hasAnswered_ = false;
    bool isReady_ = false;  ///< the list of devices is complete
    std::map<std::uint32_t, std::unique_ptr<RemoteNode>> nodes_;
    std::map<int, std::function<void()>> awaited_;
    std::vector<Listener*> listeners_;

    PipeWireLoop loop_;  // last: its thread uses the rest
};

}  // namespace varnelle
