#include "platform/linux/AtspiBus.h"

#include <unistd.h>

#include <cstdlib>

namespace varnelle {
namespace {

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') return std::nullopt;
    return value;
}

std::optional<std::string> sessionBusAddress() {
    if (auto address = environment("DBUS_SESSION_BUS_ADDRESS")) return address;
    const auto directory = environment("XDG_RUNTIME_DIR");
    if (!directory || access((*directory + "/bus").c_str(), F_OK) != 0) return std::nullopt;
    return "unix:path=" + *directory + "/bus";
}

}  // namespace

std::unique_ptr<DBusClient> connectToSessionBus(DBusClient::Deadline deadline) {
    const auto address = sessionBusAddress();
    return address ? DBusClient::connect(*address, deadline) : nullptr;
}

std::optional<std::string> accessibilityBusAddress(DBusClient::Deadline deadline) {
    if (auto address = environment("AT_SPI_BUS_ADDRESS")) return address;
    const auto session = connectToSessionBus(deadline);
    if (session == nullptr) return std::nullopt;
    const auto reply = session->call(
        makeCall("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", DBUS_TYPE_INVALID), deadline);
    const char* address = nullptr;
    if (reply.message == nullptr || dbus_message_get_args(reply.message.get(), nullptr, DBUS_TYPE_STRING,
                                                          &address, DBUS_TYPE_INVALID) == FALSE) {
        return std::nullopt;
    }
    return address;
}

}  // namespace varnelle
