#include "platform/linux/LinuxPermissions.h"

#include <chrono>
#include <utility>

#include "foundation/Log.h"
#include "platform/linux/AtspiBus.h"
#include "platform/linux/X11Connection.h"

namespace varnelle {
namespace {

constexpr std::chrono::milliseconds kAnswerPatience{200};
/// For the first answer, by which the program decides what it shows at its start: on a machine that is busy
/// with starting, a permission that was given shouldn't be asked for again.
constexpr std::chrono::milliseconds kFirstAnswerPatience{1000};
/// For a queue to wait: a bus that has to be started takes a while.
constexpr std::chrono::seconds kBusTime{1};

constexpr const char* kBusName = "org.a11y.Bus";
constexpr const char* kBusPath = "/org/a11y/bus";
constexpr const char* kStatus = "org.a11y.Status";

DBusClient::Deadline busDeadline() {
    return std::chrono::steady_clock::now() + kBusTime;
}

bool isStatusOn(DBusClient& session, const char* property) {
    const auto reply =
        session.call(makeCall(kBusName, kBusPath, DBUS_INTERFACE_PROPERTIES, "Get", DBUS_TYPE_STRING,
                              &kStatus, DBUS_TYPE_STRING, &property, DBUS_TYPE_INVALID),
                     busDeadline());
    DBusMessageIter at;
    if (reply.message == nullptr || dbus_message_iter_init(reply.message.get(), &at) == FALSE ||
        dbus_message_iter_get_arg_type(&at) != DBUS_TYPE_VARIANT)
        return false;
    DBusMessageIter value;
    dbus_message_iter_recurse(&at, &value);
    dbus_bool_t isOn = FALSE;
    if (dbus_message_iter_get_arg_type(&value) == DBUS_TYPE_BOOLEAN) {
        dbus_message_iter_get_basic(&value, &isOn);
    }
    return isOn != FALSE;
}

bool isAccessibilityOn() {
    const auto session = connectToSessionBus(busDeadline());
    if (session == nullptr) return false;
    if (!isStatusOn(*session, "IsEnabled") && !isStatusOn(*session, "ScreenReaderEnabled")) return false;
    const auto address = accessibilityBusAddress(busDeadline());
    return address && DBusClient::connect(*address, busDeadline()) != nullptr;
}

void turnAccessibilityOn() {
    const auto session = connectToSessionBus(busDeadline());
    const char* property = "IsEnabled";
    DBusMessageHandle message =
        makeCall(kBusName, kBusPath, DBUS_INTERFACE_PROPERTIES, "Set", DBUS_TYPE_STRING, &kStatus,
                 DBUS_TYPE_STRING, &property, DBUS_TYPE_INVALID);
    const dbus_bool_t isOn = TRUE;
    DBusMessageIter at;
    DBusMessageIter value;
    dbus_message_iter_init_append(message.get(), &at);
    dbus_message_iter_open_container(&at, DBUS_TYPE_VARIANT, DBUS_TYPE_BOOLEAN_AS_STRING, &value);
    dbus_message_iter_append_basic(&value, DBUS_TYPE_BOOLEAN, &isOn);
    dbus_message_iter_close_container(&at, &value);
    if (session == nullptr ||
        session->call(std::move(message), busDeadline()).outcome != DBusClient::Outcome::answered) {
        logger(LogCategory::app).warn("Accessibility can't be turned on: the session has no such service.");
    }
}

/// Keeps its connection, so that only the first check has to make one.
class DisplayCheck {
public:
    explicit DisplayCheck(std::string displayName) : displayName_(std::move(displayName)) {}
    bool operator()() {
        try {
            if (connection_ == nullptr) connection_ = std::make_shared<X11Connection>(displayName_);
            // Until it has answered, so that a display which is frozen counts as one that is lost; for as
            // long as anybody may wait for this.
            const auto cookie = xcb_get_input_focus(connection_->get());
            (void)connection_->reply<xcb_get_input_focus_reply_t>(cookie, "GetInputFocus",
                                                                  kFirstAnswerPatience);
            return true;
        } catch (const PlatformError&) {
            connection_ = nullptr;
            return false;
        }
    }

private:
    std::string displayName_;
    std::shared_ptr<X11Connection> connection_;
};

}  // namespace

LinuxPermissions::BoundedCheck::BoundedCheck(std::string label, std::function<bool()> check)
    : check_(std::move(check)), queue_(std::move(label)) {}

bool LinuxPermissions::BoundedCheck::answer() {
    std::unique_lock lock(mutex_);
    if (!isAsking_) {
        isAsking_ = true;
        queue_.async([this] {
            const bool answer = check_();
            const std::lock_guard guard(mutex_);
            lastAnswer_ = answer;
            isAsking_ = false;
            changed_.notify_all();
        });
    }
    const auto patience = std::exchange(isFirst_, false) ? kFirstAnswerPatience : kAnswerPatience;
    changed_.wait_for(lock, patience, [this] { return !isAsking_; });
    return lastAnswer_;
}

LinuxPermissions::LinuxPermissions(std::string displayName)
    : screenCapture_(std::make_unique<BoundedCheck>("com.varnelle.permissions.screen",
                                                    DisplayCheck(std::move(displayName)))),
      accessibility_(
          std::make_unique<BoundedCheck>("com.varnelle.permissions.accessibility", isAccessibilityOn)) {}

LinuxPermissions::~LinuxPermissions() = default;

bool LinuxPermissions::hasScreenCaptureAccess() const {
    return screenCapture_->answer();
}

bool LinuxPermissions::isAccessibilityTrusted() const {
    return accessibility_->answer();
}

void LinuxPermissions::requestAccessibilityTrust() {
    accessibility_->queue().async(turnAccessibilityOn);
}

}  // namespace varnelle
