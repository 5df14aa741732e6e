#include "platform/linux/PipeWireHub.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/linux/PipeWireFormats.h"

namespace varnelle {
namespace {

constexpr std::chrono::milliseconds kFirstAnswerTimeout{400};
constexpr timespec kRetryDelay{1, 0};

std::string property(const spa_dict* properties, const char* key) {
    const char* value = properties != nullptr ? spa_dict_lookup(properties, key) : nullptr;
    return value != nullptr ? value : "";
}

bool isDevice(const PipeWireNode& node) {
    return node.isCamera() || node.isMicrophone() || node.mediaClass == "Audio/Sink";
}

}  // namespace

/// A device as it is being learnt about: cameras are asked for their formats.
class PipeWireHub::RemoteNode {
public:
    RemoteNode(PipeWireHub& hub, PipeWireNode node) : hub_(hub), node_(std::move(node)) {
        if (!node_.isCamera()) return;
        isComplete_ = false;
        proxy_ = static_cast<pw_proxy*>(
            pw_registry_bind(hub_.registry_, node_.id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
        if (proxy_ == nullptr) return;
        static constexpr pw_node_events kEvents = [] {
            pw_node_events events{};
            events.version = PW_VERSION_NODE_EVENTS;
            events.info = [](void* self, const pw_node_info* info) {
                static_cast<RemoteNode*>(self)->receive(*info);
            };
            events.param = [](void* self, int, std::uint32_t id, std::uint32_t, std::uint32_t,
                              const spa_pod* parameter) {
                auto& formats = static_cast<RemoteNode*>(self)->incoming_;
                if (id == SPA_PARAM_EnumFormat) appendCameraFormats(*parameter, formats);
            };
            return events;
        }();
        pw_node_add_listener(reinterpret_cast<pw_node*>(proxy_), &listener_, &kEvents, this);
    }
    ~RemoteNode() {
        if (proxy_ == nullptr) return;
        spa_hook_remove(&listener_);
        pw_proxy_destroy(proxy_);
    }
    RemoteNode(const RemoteNode&) = delete;
    RemoteNode& operator=(const RemoteNode&) = delete;

    [[nodiscard]] const PipeWireNode& node() const { return node_; }
    [[nodiscard]] bool isComplete() const { return isComplete_; }

private:
    void receive(const pw_node_info& info) {
        if ((info.change_mask & PW_NODE_CHANGE_MASK_PARAMS) == 0) return;
        for (std::uint32_t i = 0; i < info.n_params; ++i) {
            const spa_param_info& parameter = info.params[i];
            const bool isReadable = (parameter.flags & SPA_PARAM_INFO_READ) != 0;
            if (parameter.id != SPA_PARAM_EnumFormat || !isReadable || parameter.flags == knownFlags_)
                continue;
            knownFlags_ = parameter.flags;
            incoming_.clear();
            auto* const remote = reinterpret_cast<pw_node*>(proxy_);
            pw_node_enum_params(remote, 0, SPA_PARAM_EnumFormat, 0, UINT32_MAX, nullptr);
        }
        hub_.afterRoundTrip([hub = &hub_, id = node_.id] {
            const auto found = hub->nodes_.find(id);
            if (found != hub->nodes_.end()) found->second->complete();
        });
    }

    void complete() {
        // A camera that is in use by another program may say nothing; what it said before still holds.
        if (!incoming_.empty()) node_.cameraFormats = incoming_;
        isComplete_ = true;
        hub_.publish();
    }

    PipeWireHub& hub_;
    PipeWireNode node_;
    pw_proxy* proxy_ = nullptr;
    spa_hook listener_{};
    std::uint32_t knownFlags_ = 0;
    std::vector<CameraFormat> incoming_;
    bool isComplete_ = true;
};

/// Shared with the handles that were given out, which may outlive the hub.
struct PipeWireHub::Observers {
    std::mutex mutex;
    std::map<int, std::function<void()>> handlers;  // guarded by mutex, also while one runs
    int nextKey = 0;                                // guarded by mutex
};

PipeWireHub::PipeWireHub(std::string remoteName)
    : remoteName_(std::move(remoteName)),
      answerDeadline_(std::chrono::steady_clock::now() + kFirstAnswerTimeout),
      observers_(std::make_shared<Observers>()) {
    loop_.post([this] {
        const auto onTimer = [](void* self, std::uint64_t) {
            auto& hub = *static_cast<PipeWireHub*>(self);
            if (hub.core_ == nullptr) {
                hub.connect();
            } else {
                hub.notifyListeners();
            }
        };
        retryTimer_ = pw_loop_add_timer(loop_.loop(), onTimer, this);
        connect();
    });
}

PipeWireHub::~PipeWireHub() {
    loop_.sync([this] {
        disconnect();
        pw_loop_destroy_source(loop_.loop(), retryTimer_);
        if (context_ != nullptr) pw_context_destroy(context_);
    });
}

std::vector<PipeWireNode> PipeWireHub::nodes() {
    std::unique_lock lock(mutex_);
    answered_.wait_until(lock, answerDeadline_, [this] { return isAnswerKnown_; });
    return published_;
}

std::shared_ptr<void> PipeWireHub::observeNodes(std::function<void()> onChange) {
    const std::lock_guard lock(observers_->mutex);
    const int key = observers_->nextKey++;
    observers_->handlers.emplace(key, std::move(onChange));
    // The handle's value is of no use; what counts is what happens when the last copy of it goes.
    return {observers_.get(), [observers = observers_, key](void*) {
                const std::lock_guard innerLock(observers->mutex);
                observers->handlers.erase(key);
            }};
}

const PipeWireNode* PipeWireHub::nodeNamed(const std::string& name) const {
    for (const auto& [id, remote] : nodes_) {
        if (remote->isComplete() && remote->node().name == name) return &remote->node();
    }
    return nullptr;
}

bool PipeWireHub::hasMicrophone() const {
    return std::any_of(nodes_.begin(), nodes_.end(),
                       [](const auto& entry) { return entry.second->node().isMicrophone(); });
}

void PipeWireHub::requestRetry() {
    timespec delay = kRetryDelay;
    pw_loop_update_timer(loop_.loop(), retryTimer_, &delay, nullptr, false);
}

void PipeWireHub::connect() {
    // Realtime scheduling keeps a busy machine from leaving holes in the sound.
    if (context_ == nullptr) {
        context_ =
            pw_context_new(loop_.loop(), pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", nullptr), 0);
    }
    if (context_ != nullptr) {
        pw_properties* const properties = pw_properties_new(nullptr, nullptr);
        if (!remoteName_.empty()) pw_properties_set(properties, PW_KEY_REMOTE_NAME, remoteName_.c_str());
        core_ = pw_context_connect(context_, properties, 0);
    }
    if (core_ == nullptr) {
        publish();
        requestRetry();
        return;
    }
    static constexpr pw_core_events kCoreEvents = [] {
        pw_core_events events{};
        events.version = PW_VERSION_CORE_EVENTS;
        events.done = [](void* self, std::uint32_t id, int sequence) {
            if (id == PW_ID_CORE) static_cast<PipeWireHub*>(self)->roundTripDone(sequence);
        };
        events.error = [](void* self, std::uint32_t id, int, int result, const char*) {
            auto& hub = *static_cast<PipeWireHub*>(self);
            if (id != PW_ID_CORE || result != -EPIPE) return;
            // Not from inside a callback of what is to be destroyed.
            hub.loop_.post([&hub] {
                if (hub.core_ == nullptr) return;  // by now the hub may be on its way out
                hub.disconnect();
                hub.publish();
                hub.requestRetry();
            });
        };
        return events;
    }();
    static constexpr pw_registry_events kRegistryEvents = [] {
        pw_registry_events events{};
        events.version = PW_VERSION_REGISTRY_EVENTS;
        events.global = [](void* self, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                           const spa_dict* properties) {
            static_cast<PipeWireHub*>(self)->addGlobal(id, type, properties);
        };
        events.global_remove = [](void* self, std::uint32_t id) {
            static_cast<PipeWireHub*>(self)->removeGlobal(id);
        };
        return events;
    }();
    pw_core_add_listener(core_, &coreListener_, &kCoreEvents, this);
    registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
    pw_registry_add_listener(registry_, &registryListener_, &kRegistryEvents, this);
    // First come the devices, then what the cameras say of themselves, then their formats.
    afterRoundTrip([this] {
        afterRoundTrip([this] {
            afterRoundTrip([this] {
                isReady_ = true;
                publish();
                notifyListeners();
            });
        });
    });
}

void PipeWireHub::disconnect() {
    if (core_ == nullptr) return;
    for (Listener* const listener : std::vector(listeners_)) listener->connectionLost();
    awaited_.clear();
    nodes_.clear();
    isReady_ = false;
    spa_hook_remove(&registryListener_);
    spa_hook_remove(&coreListener_);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
    registry_ = nullptr;
    pw_core_disconnect(core_);
    core_ = nullptr;
}

void PipeWireHub::addGlobal(std::uint32_t id, const char* type, const spa_dict* properties) {
    if (std::string_view(type) != PW_TYPE_INTERFACE_Node) return;
    PipeWireNode node;
    node.id = id;
    node.mediaClass = property(properties, PW_KEY_MEDIA_CLASS);
    node.name = property(properties, PW_KEY_NODE_NAME);
    node.description = property(properties, PW_KEY_NODE_DESCRIPTION);
    if (node.description.empty()) node.description = property(properties, PW_KEY_NODE_NICK);
    if (node.description.empty()) node.description = node.name;
    if (!isDevice(node) || node.name.empty()) return;
    nodes_[id] = std::make_unique<RemoteNode>(*this, std::move(node));
    publish();
}

void PipeWireHub::removeGlobal(std::uint32_t id) {
    if (nodes_.erase(id) > 0) publish();
}

void PipeWireHub::afterRoundTrip(std::function<void()> work) {
    awaited_[pw_core_sync(core_, PW_ID_CORE, 0)] = std::move(work);
}

void PipeWireHub::roundTripDone(int sequence) {
    const auto found = awaited_.find(sequence);
    if (found == awaited_.end()) return;
    const auto work = std::move(found->second);
    awaited_.erase(found);
    work();
}

void PipeWireHub::publish() {
    if (core_ != nullptr && !isReady_) return;
    std::vector<PipeWireNode> complete;
    for (const auto& [id, remote] : nodes_) {
        if (remote->isComplete()) complete.push_back(remote->node());
    }
    const bool isFirst = !std::exchange(hasAnswered_, true);
    bool hasChanged = false;
    {
        const std::lock_guard lock(mutex_);
        hasChanged = complete != published_;
        published_ = std::move(complete);
        isAnswerKnown_ = true;
    }
    answered_.notify_all();
    if (hasChanged) {
        const std::lock_guard lock(observers_->mutex);
        for (const auto& [key, handler] : observers_->handlers) handler();
    }
    if (hasChanged || isFirst) notifyListeners();
}

void PipeWireHub::notifyListeners() {
    for (Listener* const listener : std::vector(listeners_)) {
        // One may have removed another.
        if (std::find(listeners_.begin(), listeners_.end(), listener) != listeners_.end()) {
            listener->serverChanged();
        }
    }
}

}  // namespace varnelle
