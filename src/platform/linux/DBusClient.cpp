#include "platform/linux/DBusClient.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <thread>
#include <vector>

namespace varnelle {
namespace {

using Clock = std::chrono::steady_clock;

/// For the answers of a program that is well to arrive.
constexpr std::chrono::milliseconds kAnswersTime{1};

int millisecondsUntil(Clock::time_point deadline) {
    const auto remaining = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(remaining.count(), 0));
}

struct PendingRelease {
    void operator()(DBusPendingCall* pending) const {
        dbus_pending_call_cancel(pending);
        dbus_pending_call_unref(pending);
    }
};
using PendingCall = std::unique_ptr<DBusPendingCall, PendingRelease>;

}  // namespace

DBusMessageHandle makeCall(const char* destination, const char* path, const char* interface,
                           const char* method, int firstArgumentType, ...) {
    DBusMessageHandle message(dbus_message_new_method_call(destination, path, interface, method));
    va_list arguments;
    va_start(arguments, firstArgumentType);
    if (message != nullptr) {
        dbus_message_append_args_valist(message.get(), firstArgumentType, arguments);
        dbus_message_set_auto_start(message.get(), TRUE);
    }
    va_end(arguments);
    return message;
}

std::unique_ptr<DBusClient> DBusClient::connect(const std::string& address, Deadline deadline) {
    DBusConnection* connection = dbus_connection_open_private(address.c_str(), nullptr);
    if (connection == nullptr) return nullptr;
    std::unique_ptr<DBusClient> client(new DBusClient(connection));
    // By hand, since the library's own function waits for as long as the bus likes.
    const Reply reply = client->call(
        makeCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "Hello", DBUS_TYPE_INVALID),
        deadline);
    const char* name = nullptr;
    if (reply.message == nullptr || dbus_message_get_args(reply.message.get(), nullptr, DBUS_TYPE_STRING,
                                                          &name, DBUS_TYPE_INVALID) == FALSE) {
        return nullptr;
    }
    dbus_bus_set_unique_name(connection, name);
    return client;
}

DBusClient::DBusClient(DBusConnection* connection) : connection_(connection) {
    dbus_connection_set_exit_on_disconnect(connection_, FALSE);
    dbus_connection_add_filter(connection_, &DBusClient::filter, this, nullptr);
}

DBusClient::~DBusClient() {
    dbus_connection_remove_filter(connection_, &DBusClient::filter, this);
    dbus_connection_close(connection_);
    dbus_connection_unref(connection_);
}

bool DBusClient::isConnected() const {
    return dbus_connection_get_is_connected(connection_) != FALSE;
}

DBusClient::Reply DBusClient::call(DBusMessageHandle message, Deadline deadline) {
    std::array<DBusMessageHandle, 1> messages{std::move(message)};
    std::array<Reply, 1> replies;
    callAll(messages, replies, deadline);
    return std::move(replies[0]);
}

void DBusClient::callAll(std::span<DBusMessageHandle> messages, std::span<Reply> replies, Deadline deadline) {
    std::vector<PendingCall> pending(messages.size());
    for (std::size_t i = 0; i < messages.size(); ++i) {
        DBusPendingCall* call = nullptr;
        if (messages[i] != nullptr) {
            dbus_connection_send_with_reply(connection_, messages[i].get(), &call, DBUS_TIMEOUT_INFINITE);
        }
        pending[i].reset(call);
    }
    const auto isOpen = [](const PendingCall& call) {
        return call != nullptr && dbus_pending_call_get_completed(call.get()) == FALSE;
    };
    dispatchAll();
    while (isConnected()) {
        const auto openCount = std::count_if(pending.begin(), pending.end(), isOpen);
        const int timeout = millisecondsUntil(deadline);
        if (openCount == 0 || timeout == 0) break;
        // Answers to several calls come one after the other; one nap costs less than waking up for each.
        if (openCount > 2) std::this_thread::sleep_for(kAnswersTime);
        // The library's own blocking call first waits, without end, until everything is sent.
        dbus_connection_read_write(connection_, timeout);
        dispatchAll();
    }
    for (std::size_t i = 0; i < messages.size(); ++i) {
        replies[i] = {};
        if (isOpen(pending[i])) {
            if (isConnected()) replies[i].outcome = Outcome::timedOut;
        } else if (pending[i] != nullptr) {
            DBusMessageHandle answer(dbus_pending_call_steal_reply(pending[i].get()));
            if (answer == nullptr || dbus_message_get_type(answer.get()) == DBUS_MESSAGE_TYPE_ERROR) continue;
            replies[i] = {Outcome::answered, std::move(answer)};
        }
    }
}

void DBusClient::send(DBusMessageHandle message) {
    if (message == nullptr) return;
    dbus_message_set_no_reply(message.get(), TRUE);
    dbus_connection_send(connection_, message.get(), nullptr);
}

void DBusClient::addMatch(const char* rule) {
    send(makeCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "AddMatch", DBUS_TYPE_STRING, &rule,
                  DBUS_TYPE_INVALID));
}

void DBusClient::takeSignals() {
    dbus_connection_read_write(connection_, 0);
    dispatchAll();
}

DBusHandlerResult DBusClient::filter(DBusConnection*, DBusMessage* message, void* self) {
    auto& client = *static_cast<DBusClient*>(self);
    if (dbus_message_get_type(message) != DBUS_MESSAGE_TYPE_SIGNAL)
        return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
    if (client.signalHandler_) client.signalHandler_(*message);
    return DBUS_HANDLER_RESULT_HANDLED;
}

void DBusClient::dispatchAll() {
    while (dbus_connection_dispatch(connection_) == DBUS_DISPATCH_DATA_REMAINS) continue;
}

}  // namespace varnelle
