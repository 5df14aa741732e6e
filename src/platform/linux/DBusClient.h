#pragma once

#include <dbus/dbus.h>

#include <chrono>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace varnelle {

struct DBusMessageRelease {
    void operator()(DBusMessage* message) const { dbus_message_unref(message); }
};
using DBusMessageHandle = std::unique_ptr<DBusMessage, DBusMessageRelease>;

/// A call of a method; `arguments` as `dbus_message_append_args` takes them, with `DBUS_TYPE_INVALID` at
/// their end.
DBusMessageHandle makeCall(const char* destination, const char* path, const char* interface,
                           const char* method, int firstArgumentType, ...);

/// A connection to a message bus, for one thread at a time. Every wait has a deadline, that for the bus
/// itself included: neither a program nor a bus that hangs can hang the caller.
class DBusClient {
public:
    using Deadline = std::chrono::steady_clock::time_point;

    /// Null if there is no bus at the address, or it doesn't answer in time.
    static std::unique_ptr<DBusClient> connect(const std::string& address, Deadline deadline);
    ~DBusClient();
    DBusClient(const DBusClient&) = delete;
    DBusClient& operator=(const DBusClient&) = delete;

    [[nodiscard]] bool isConnected() const;

    enum class Outcome { answered, failed, timedOut };
    struct Reply {
        Outcome outcome = Outcome::failed;
        DBusMessageHandle message;  ///< null unless answered
    };
    /// Sends a call and waits for its answer.
    [[nodiscard]] Reply call(DBusMessageHandle message, Deadline deadline);
    /// Sends several calls at once, then waits for all of them: `replies[i]` belongs to `messages[i]`.
    void callAll(std::span<DBusMessageHandle> messages, std::span<Reply> replies, Deadline deadline);

    /// Sends a call whose answer nobody needs.
    void send(DBusMessageHandle message);
    /// Asks the bus for signals that match a rule. The handler gets all signals, during `call` and
    /// `takeSignals`.
    void addMatch(const char* rule);
    void setSignalHandler(std::function<void(DBusMessage&)> handler) { signalHandler_ = std::move(handler); }
    /// Handles the signals that are there, without waiting.
    void takeSignals();

private:
    explicit DBusClient(DBusConnection* connection);
    static DBusHandlerResult filter(DBusConnection* connection, DBusMessage* message, void* self);
    void dispatchAll();

    DBusConnection* connection_;
    std::function<void(DBusMessage&)> signalHandler_;
};

}  // namespace varnelle
